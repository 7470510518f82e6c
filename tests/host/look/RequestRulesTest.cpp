// Which requests of the page are answered, and which are refused.

#include <gtest/gtest.h>

#include "host/look/RequestRules.h"

namespace plexion_host {
namespace {

constexpr const char* kToken = "0123456789abcdef";

struct Case {
  const char* what;
  LookRequest request;
  unsigned status;
  const char* rest;
};

void Expect(const RequestRules& rules, const std::vector<Case>& cases) {
  for (const Case& each : cases) {
    std::string rest;
    EXPECT_EQ(each.status, rules.Check(each.request, rest)) << each.what;
    if (each.status == 0) {
      EXPECT_EQ(each.rest, rest) << each.what;
    }
  }
}

TEST(RequestRulesTest, OnlyWhoKnowsTheTokenIsAnswered) {
  const std::string host = "127.0.0.1:8080";
  const auto get = [&](const std::string& path) {
    return LookRequest{"GET", path, host, "", "", ""};
  };
  Expect(RequestRules("127.0.0.1", 8080, kToken),
         {{"the page", get("/0123456789abcdef/"), 0, "/"},
          {"without its slash", get("/0123456789abcdef"), 0, ""},
          {"below", get("/0123456789abcdef/status"), 0, "/status"},
          {"none", get("/"), 403, ""},
          {"nothing", get(""), 403, ""},
          {"a part of it", get("/0123456789abcde/"), 403, ""},
          {"more", get("/0123456789abcdef0/"), 403, ""},
          {"another", get("/0123456789abcdeg/"), 403, ""},
          {"not first", get("/x/0123456789abcdef/"), 403, ""}});
}

TEST(RequestRulesTest, ANameThatWasMadeToPointHereIsRefused) {
  const auto from = [](const std::string& host) {
    return LookRequest{"GET", "/0123456789abcdef/", host, "", "", ""};
  };
  Expect(RequestRules("127.0.0.1", 8080, kToken),
         {{"ours", from("127.0.0.1:8080"), 0, "/"},
          {"the loopback's name", from("localhost:8080"), 0, "/"},
          {"another name", from("evil.example:8080"), 403, ""},
          {"another number", from("10.0.0.1:8080"), 403, ""},
          {"another port", from("127.0.0.1:80"), 403, ""},
          {"no port", from("127.0.0.1"), 403, ""},
          {"none", from(""), 403, ""}});
  Expect(RequestRules("0.0.0.0", 8080, kToken),
         {{"a number of this machine", from("192.168.1.7:8080"), 0, "/"},
          {"a number with six parts", from("[fe80::1]:8080"), 0, "/"},
          {"a name", from("kiosk.example:8080"), 403, ""}});
  Expect(RequestRules("::1", 80, kToken),
         {{"the port that goes without saying", from("[::1]"), 0, "/"},
          {"with it", from("[::1]:80"), 0, "/"}});
}

TEST(RequestRulesTest, NoPageButOursMayDoAnything) {
  const std::string path = "/0123456789abcdef/do/next";
  const std::string host = "127.0.0.1:8080";
  const std::string own = "http://127.0.0.1:8080";
  Expect(RequestRules("127.0.0.1", 8080, kToken),
         {{"ours", {"POST", path, host, own, "same-origin", "1"}, 0, "/do/next"},
          {"a program", {"POST", path, host, "", "", "1"}, 0, "/do/next"},
          {"another origin", {"POST", path, host, "http://evil.example", "", "1"}, 403, ""},
          {"another port", {"POST", path, host, "http://127.0.0.1:81", "", "1"}, 403, ""},
          {"no origin", {"POST", path, host, "null", "", "1"}, 403, ""},
          {"another site", {"POST", path, host, "", "cross-site", "1"}, 403, ""},
          {"a form, which sends no header", {"POST", path, host, own, "same-origin", ""}, 403, ""},
          {"a picture's address", {"GET", path, host, "", "", "1"}, 405, ""},
          {"another method", {"PUT", path, host, own, "", "1"}, 405, ""},
          {"to what does nothing", {"POST", "/0123456789abcdef/", host, own, "", "1"}, 405, ""}});
}

}  // namespace
}  // namespace plexion_host
