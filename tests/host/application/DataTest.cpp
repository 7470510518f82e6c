// Data from servers of every kind: what reaches a script, what is told, and what never happens.
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "host/player/application/net/DeclaredData.h"
#include "host/player/application/script/ScriptErrors.h"
#include "host/player/content/DeclaredAddresses.h"
#include "tests/host/application/ApplicationFixture.h"
#include "tests/host/media/HttpServer.h"

namespace plexion_host::player::application {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLong{20};

/// A fetcher of one address, which hears of what comes.
class Fetching {
 public:
  explicit Fetching(const std::string& address, double timeout = 20, double every = 0.01,
                    std::vector<std::string> hosts = {"127.0.0.1"})
      : Fetching(SettingsOf(address, timeout, every, std::move(hosts))) {}
  explicit Fetching(FetchSettings settings) {
    settings.wake = [this] {
      const std::lock_guard<std::mutex> lock(mutex_);
      woken_ = true;
      changed_.notify_all();
    };
    fetcher_ = MakeDataFetcher(std::move(settings));
  }
  /// The next answer or failure.
  Fetched Next() {
    for (;;) {
      {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, kLong, [this] { return woken_; })) {
          return {0, "", "(nothing came)"};
        }
        woken_ = false;
      }
      std::vector<Fetched> fetched = fetcher_->Take();
      if (!fetched.empty()) return fetched[0];
    }
  }
  DataFetcher& Fetcher() { return *fetcher_; }

  static FetchSettings SettingsOf(const std::string& address, double timeout, double every,
                                  std::vector<std::string> hosts) {
    FetchSettings settings;
    settings.addresses = {{address, every, timeout}};
    settings.hosts = std::move(hosts);
    return settings;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool woken_ = false;
  std::unique_ptr<DataFetcher> fetcher_;
};

std::string Page(const std::string& body) { return HttpServer::Reply("200 OK", "", body); }

/// Until the connection is given up, at most a test's patience.
void Stall(HttpServer::Peer& peer, const std::string& drip) {
  const auto end = Clock::now() + kLong;
  while (Clock::now() < end && peer.Send(drip)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST(DataFetcher, TellsWhatServersDoWrong) {
  const struct {
    const char* name;
    HttpServer::Handler handler;
    std::string failure;
    double timeout = 20;
  } cases[] = {
      {"drips without end",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
         Stall(peer, "x");
       },
       "the answer did not come to its end within the time-out", 2},
      {"drips its head",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\n");
         Stall(peer, "A: b\r\n");
       },
       "no answer within the time-out", 0.3},
      {"is cut",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n[1, 2");
       },
       "transfer closed"},
      {"is cut between chunks",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n[1,\r\n");
       },
       "transfer closed"},
      {"says that it is huge",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n[");
       },
       "more than the 8388608 bytes that are allowed"},
      {"is huge and says nothing",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\n\r\n");
         const std::string part(size_t{1} << 20, ' ');
         for (int i = 0; i < 64 && peer.Send(part); ++i) {
         }
       },
       "more than the 8388608 bytes that are allowed"},
      {"has a head without end",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send("HTTP/1.1 200 OK\r\n");
         const std::string line = "X-More: " + std::string(1000, 'x') + "\r\n";
         for (int i = 0; i < 10000 && peer.Send(line); ++i) {
         }
       },
       "the answer's head has more than 65536 bytes"},
      {"speaks something else",
       [](const std::string&, HttpServer::Peer& peer) { peer.Send("220 mail.example ESMTP\r\n"); },
       "HTTP"},
      {"has nothing there",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(HttpServer::Reply("404 Not Found", "", "[]"));
       },
       "the server answered 404; expected 200"},
      {"sends elsewhere",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(HttpServer::Reply("302 Found", "Location: http://localhost:9/x\r\n", ""));
       },
       "the server sends to \"http://localhost:9/x\"; expected a host that the application "
       "declares"},
      {"sends to a name that only begins like it",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(HttpServer::Reply("302 Found", "Location: http://127.0.0.1@localhost/\r\n", ""));
       },
       "expected a host that the application declares"},
      {"sends to a name that ends where readers disagree",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(
             HttpServer::Reply("302 Found", "Location: http://127.0.0.1\\@localhost:9/\r\n", ""));
       },
       "expected a host that the application declares"},
      {"sends to a file",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(HttpServer::Reply("302 Found", "Location: file:///etc/passwd\r\n", ""));
       },
       "the server sends to \"file:///etc/passwd\""},
      {"sends in a circle",
       [](const std::string&, HttpServer::Peer& peer) {
         peer.Send(HttpServer::Reply("302 Found", "Location: /again\r\n", ""));
       },
       "more than 5 times"},
  };
  for (const auto& each : cases) {
    HttpServer server(each.handler, {});
    Fetching fetching(server.Address("/data"), each.timeout);
    const Fetched fetched = fetching.Next();
    EXPECT_NE(fetched.failure.find(each.failure), std::string::npos)
        << each.name << ": " << fetched.failure;
    EXPECT_EQ("", fetched.bytes) << each.name;
  }
}

TEST(DataFetcher, FollowsToDeclaredHostsOnly) {
  HttpServer there([](const std::string&) { return Page("there"); });
  HttpServer here([&](const std::string&) {
    return HttpServer::Reply(
        "302 Found", "Location: http://LOCALHOST:" + std::to_string(there.Port()) + "/\r\n", "");
  });
  Fetching allowed(here.Address("/"), 20, 0.01, {"127.0.0.1", "localhost"});
  EXPECT_EQ("there", allowed.Next().bytes);
}

TEST(DataFetcher, AsksForWhatIsNewAndTellsNothingOfWhatIsNot) {
  std::atomic<int> count{0};
  HttpServer server([&](const std::string& head) {
    const int n = ++count;
    if (n >= 5) return HttpServer::Reply("200 OK", "ETag: \"2\"\r\n", "second");
    if (head.find("If-None-Match: \"1\"") != std::string::npos) {
      return HttpServer::Reply("304 Not Modified", "", "");
    }
    return HttpServer::Reply("200 OK", "ETag: \"1\"\r\n", "first");
  });
  Fetching fetching(server.Address("/"));
  EXPECT_EQ("first", fetching.Next().bytes);
  EXPECT_EQ("second", fetching.Next().bytes);
  EXPECT_GE(count, 5);
}

TEST(DataFetcher, WhatIsRefusedIsAskedForAsAWhole) {
  HttpServer server([](const std::string& head) {
    if (head.find("If-None-Match") != std::string::npos) {
      return HttpServer::Reply("304 Not Modified", "Location: /elsewhere\r\n", "");
    }
    return HttpServer::Reply("200 OK", "ETag: \"1\"\r\n", "all");
  });
  Fetching fetching(server.Address("/"));
  EXPECT_EQ("all", fetching.Next().bytes);
  fetching.Fetcher().Refuse(0);
  fetching.Fetcher().Refuse(99);
  EXPECT_EQ("all", fetching.Next().bytes) << "though the server says that it has not changed";
}

TEST(DataFetcher, AllAnswersTogetherHaveABound) {
  HttpServer server(
      [](const std::string&, HttpServer::Peer& peer) {
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 8300000\r\n\r\n" + std::string(8000000, ' '));
        Stall(peer, " ");
      },
      {});
  FetchSettings settings = Fetching::SettingsOf(server.Address("/"), 60, 3600, {"127.0.0.1"});
  settings.addresses.resize(5, settings.addresses[0]);
  Fetching fetching(settings);
  EXPECT_EQ("no room for it: all answers under way may have 33554432 bytes together",
            fetching.Next().failure);
}

TEST(DataFetcher, UsesTheProxyThatItIsGivenWhateverTheEnvironmentLeavesOut) {
  ASSERT_EQ(0, setenv("no_proxy", "*", 1));
  HttpServer proxy([](const std::string&) { return Page("by the proxy"); });
  FetchSettings settings =
      Fetching::SettingsOf("http://declared.example/", 20, 3600, {"declared.example"});
  settings.proxy.host = "127.0.0.1";
  settings.proxy.port = static_cast<uint16_t>(proxy.Port());
  EXPECT_EQ("by the proxy", Fetching(settings).Next().bytes);
  unsetenv("no_proxy");
}

TEST(DataFetcher, GivesUpAtOnce) {
  HttpServer server([](const std::string&) { return Page("once"); });
  auto fetching = std::make_unique<Fetching>(server.Address("/"), 60, 3600);
  EXPECT_EQ("once", fetching->Next().bytes);
  // Idle for an hour; nothing but being woken ends it sooner.
  const auto began = Clock::now();
  fetching.reset();
  EXPECT_LT(Clock::now() - began, std::chrono::seconds(10));
}

TEST(DeclaredData, RefusesWhatItCannotKeep) {
  class Full final : public IDataAccess, public DataFetcher {
   public:
    explicit Full(std::vector<size_t>& refused) : refused_(refused) {}
    std::unique_ptr<DataFetcher> Open(FetchSettings) override {
      return std::make_unique<Full>(refused_);
    }
    std::vector<Fetched> Take() override {
      std::vector<Fetched> all;
      for (size_t i = 0; i < 5; ++i) all.push_back({i, std::string(kLargestAnswer, ' '), ""});
      return all;
    }
    void Refuse(size_t index) override { refused_.push_back(index); }
    void SetProxy(const ProxySettings&) override {}

   private:
    std::vector<size_t>& refused_;
  };
  std::vector<size_t> refused;
  Full access(refused);
  RecordingHost host;
  DeclaredData data(host);
  std::vector<DataSource> sources(5);
  for (size_t i = 0; i < 5; ++i) {
    sources[i].id = std::to_string(i);
    sources[i].address = "http://declared.example/";
  }
  data.Start(sources, &access);
  const std::vector<DeclaredData::News> news = data.Take(1);
  ASSERT_EQ(5u, news.size());
  EXPECT_EQ("", news[3].failure);
  EXPECT_NE("", news[4].failure);
  EXPECT_EQ(std::vector<size_t>{4}, refused);
}

TEST(ScriptErrors, DataThatFailsInTheSameWayIsToldOnceAMinute) {
  RecordingHost host;
  ScriptErrors errors(host);
  errors.AddOfData("data:d", "Failed to connect to 127.0.0.1 port 9 after 3 ms", 1);
  errors.AddOfData("data:d", "Failed to connect to 127.0.0.1 port 9 after 12 ms", 2);
  EXPECT_EQ(1u, host.Notices().size());
  errors.AddOfData("data:d", "the server sends to \"http://a.example/1\"", 3);
  errors.AddOfData("data:d", "the server sends to \"http://b.example/2\"", 4);
  EXPECT_EQ(2u, host.Notices().size()) << "another reason is news, another address is not";
  errors.AddOfData("data:d", "Failed to connect to 127.0.0.1 port 9 after 1 ms", 62);
  EXPECT_EQ(3u, host.Notices().size());
}

/// Applications that declare data of a server on this machine.
class DataTest : public ApplicationTest {
 protected:
  class Direct final : public IDataAccess {
   public:
    std::unique_ptr<DataFetcher> Open(FetchSettings settings) override {
      // A document's seconds are too long for a test.
      for (FetchedAddress& each : settings.addresses) {
        each.everySeconds /= 100;
        each.timeoutSeconds /= 20;
      }
      return MakeDataFetcher(std::move(settings));
    }
  };

  DataTest() { workPerLook_ = 100000; }
  IDataAccess* Access() override { return &access_; }

  /// Until the application has told or traced something that has `text` in it.
  bool PlayUntil(const std::string& text) {
    const auto end = Clock::now() + kLong;
    while (Clock::now() < end) {
      for (const auto& note : host_.notes) {
        if (note.second.find(text) != std::string::npos) return true;
      }
      if (!host_.WaitForRequest()) return false;
      RunTo(position_ + 1);
    }
    return false;
  }

  Direct access_;
};

TEST_F(DataTest, ComesToTheScriptWhichIsToldOfFailures) {
  // Busy for good: a failure that the next answer follows at once may never be seen.
  std::atomic<bool> busy{false};
  HttpServer server([&](const std::string&) {
    return busy ? HttpServer::Reply("503 Busy", "", "no") : Page("[1]");
  });
  ASSERT_TRUE(LoadDocument(
      "<application width='64' height='36' rate='10'><scene id='s'/><data id='d' address='" +
      server.Address("/list") +
      "' every='1'/><script>\n"
      "trace(files.json('data:d')) trace(files.exists('data:d'), files.age('data:d'))\n"
      "trace(files.read('data:none')) trace(pcall(files.watch, 'data:none', print))\n"
      "files.watch('data:d', function(name) trace(name, files.json(name)[1], files.age(name)) "
      "end)\n"
      "on('error', function(why, kind) trace(kind, why, files.json('data:d')[1]) end)\n"
      "</script></application>"))
      << error_.message;
  RunTo(0);
  EXPECT_EQ("nil\tnothing has come of \"data:d\" yet", Trace(0));
  EXPECT_EQ("false\tnil", Trace(1).substr(0, 9));
  EXPECT_EQ("nil\t\"data:none\" is not declared; expected <data id=\"...\" address=\"...\"/>",
            Trace(2));
  EXPECT_NE(Trace(3).find("is not declared"), std::string::npos) << Trace(3);
  ASSERT_TRUE(PlayUntil("data:d\t1\t0.0"));
  busy = true;
  ASSERT_TRUE(PlayUntil("data\tdata:d: the server answered 503; expected 200\t1"))
      << "what came before stays";
  const std::vector<std::string> notices = host_.Notices();
  ASSERT_EQ(1u, notices.size());
  EXPECT_EQ("data:d: the server answered 503; expected 200 (what came before stays)", notices[0]);
}

TEST_F(DataTest, NothingIsAskedThatIsNotDeclared) {
  HttpServer server([](const std::string&) { return Page("[]"); });
  EXPECT_TRUE(
      LoadDocument("<application width='64' height='36' rate='10'><scene id='s'>"
                   "<media id='m' src='" +
                   server.Address("/a.webm") +
                   "' width='9' height='9'/>"
                   "<media id='n' src='stream:live' width='9' height='9'/></scene>"
                   "<script>trace(files.read('" +
                   server.Address("/") + "'))</script></application>"))
      << error_.message;
  RunTo(5);
  EXPECT_EQ(0u, Trace(0).find("nil\tcannot open")) << Trace(0);
  ASSERT_EQ(2u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[1].find("the stream is not declared; expected <stream id="),
            std::string::npos)
      << host_.Notices()[1];
  EXPECT_TRUE(server.Heads().empty());
}

TEST_F(DataTest, OnlyAnApplicationThatDeclaresAddressesMayUseTheNetwork) {
  const auto declares = [this](const std::string& document) {
    Write("application.xml", document);
    ContentAddress content;
    content.path = folder_;
    const bool folder = DeclaresAddresses(content);
    content.path = folder_ / "application.xml";
    EXPECT_EQ(folder, DeclaresAddresses(content));
    return folder;
  };
  EXPECT_FALSE(declares("<application><scene id='data'/></application>"));
  EXPECT_TRUE(declares("<application><scene id='s'/><data id='d'"));
  EXPECT_TRUE(declares("<application><stream id='d'/></application>"));
  EXPECT_FALSE(declares(std::string(2000000, ' ') + "<data"));
  std::filesystem::remove(folder_ / "application.xml");
  ASSERT_EQ(0, mkfifo((folder_ / "application.xml").c_str(), 0600));
  ContentAddress content;
  content.path = folder_;
  EXPECT_FALSE(DeclaresAddresses(content)) << "a pipe is not waited for";
}

/// The departures board on a server.
class DeparturesDataTest : public DataTest {
 protected:
  void LoadBoard(const std::string& address) {
    std::filesystem::copy(std::string(PLEXION_EXAMPLES) + "/departures", folder_,
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    std::ifstream stream(folder_ / "application.xml");
    std::string document{std::istreambuf_iterator<char>(stream), {}};
    const std::string data =
        "<data id=\"flights\" address=\"" + address + "\" every=\"1\" timeout=\"6\"/>";
    document.insert(document.find("<backdrop>"), data);
    Write("application.xml", document);
    host_.settings.variables = {{"at", "18:00:00"}, {"source", "data:flights"}};
    ASSERT_TRUE(Load()) << error_.message;
    RunTo(1);
  }
  std::vector<uint32_t> Rows() {
    Draw(true);
    return {pixels_.begin() + size_t{64} * 8, pixels_.begin() + size_t{64} * 33};
  }
};

TEST_F(DeparturesDataTest, StaysWhateverItsServerDoes) {
  constexpr char kGood[] = R"([{"time":"18:05","to":"Wien","gate":"B1","flight":"OS 1"}])";
  std::string rows = "[";
  for (int i = 0; i < 1000000; ++i) rows += "[7],";
  rows += "[]]";
  enum Way { kAnswers, kStalls, kCuts, kFloods, kHalf, kSendsAway };
  std::atomic<Way> way{kAnswers};
  std::atomic<int> count{0};
  HttpServer server(
      [&](const std::string&, HttpServer::Peer& peer) {
        ++count;
        switch (way) {
          case kAnswers:
            peer.Send(Page(kGood));
            return;
          case kStalls:
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n[{\"time\"");
            return Stall(peer, " ");
          case kCuts:
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n[{\"time\"");
            return;
          case kFloods:
            peer.Send(Page(rows));
            return;
          case kHalf:
            peer.Send(Page("[{\"time\":"));
            return;
          case kSendsAway:
            peer.Send(HttpServer::Reply("301 Moved", "Location: http://localhost/\r\n", ""));
        }
      },
      {});
  LoadBoard(server.Address("/flights.json"));
  const auto board = [&] {
    const std::vector<uint32_t> shown = Rows();
    EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), [](uint32_t pixel) {
      return (pixel >> 8 & 255) > 60;
    })) << "never black";
    return shown;
  };
  // Guests are told that nothing is known until something comes.
  const std::vector<uint32_t> empty = board();
  const auto end = Clock::now() + kLong;
  while (board() == empty && Clock::now() < end) {
    ASSERT_TRUE(host_.WaitForRequest());
    RunTo(position_ + 1);
  }
  const std::vector<uint32_t> good = board();
  const struct {
    Way way;
    const char* told;
  } cases[] = {
      {kStalls, "did not come to its end within the time-out (what came before stays)"},
      {kCuts, "transfer closed"},
      {kHalf, "data:flights data:flights:"},
      {kSendsAway, "expected a host that the application declares"},
      {kFloods, "TallyScript: "},
  };
  for (const auto& each : cases) {
    way = each.way;
    ASSERT_TRUE(PlayUntil(each.told)) << each.told;
    EXPECT_EQ(good, board()) << each.told;
  }
  way = kAnswers;
  const int asked = count;
  while (count < asked + 3 && Clock::now() < end) {
    ASSERT_TRUE(host_.WaitForRequest());
    RunTo(position_ + 1);
  }
  // Far enough that a script which had too much to do has rested.
  RunTo(position_ + 100);
  EXPECT_EQ(good, board()) << "and then goes on";
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status) << host_.failure.message;
}

}  // namespace
}  // namespace plexion_host::player::application
