// A client of the shell's socket: one line there, its answer back.
#include "host/launcher/ctl/CtlCommand.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

#include "host/base/Descriptor.h"
#include "host/base/Text.h"
#include "host/kernel/Console.h"
#include "host/launcher/options/CommandLine.h"
#include "host/launcher/options/ShellSocketPath.h"

namespace plexion_host {
namespace {

constexpr char kCtlUsage[] =
    "usage: plexion ctl [--socket PATH] [--timeout SECONDS] COMMAND [WORD ...] [--json]\n\n"
    "Sends a command to a running Plexion; 'plexion ctl help' lists them. Without --socket the\n"
    "socket is $PLEXION_SOCKET, or else $XDG_RUNTIME_DIR/plexion.sock, or /run/plexion/shell.\n"
    "Exit codes: 0 done, 1 the command failed, 2 a wrong line, 3 nobody answers.\n";

/// Before the reason when the line was wrong.
constexpr char kMisused[] = "ERROR usage: ";

struct Typed {
  std::string socket;
  int64_t timeoutSeconds = 10;
  bool json = false;
  bool help = false;
  std::vector<std::string> words;
  std::string error;
};

/// The client's own options stand before the command; what follows is the command's.
Typed ReadLine(const std::vector<std::string>& arguments) {
  Typed typed;
  size_t i = 2;
  for (; i < arguments.size() && arguments[i].compare(0, 1, "-") == 0; ++i) {
    const std::string& option = arguments[i];
    const bool hasValue = i + 1 < arguments.size();
    if (option == "--help" || option == "-h") {
      typed.help = true;
    } else if (option == "--json") {
      typed.json = true;
    } else if (option == "--socket" && hasValue) {
      typed.socket = arguments[++i];
    } else if (option == "--timeout" && hasValue) {
      const auto seconds = ReadWholeNumber(arguments[++i], 1, 3600);
      if (!seconds) typed.error = "--timeout: '" + arguments[i] + "' is not 1 to 3600 seconds";
      typed.timeoutSeconds = seconds.value_or(1);
    } else {
      typed.error = "'" + option + "' is no option" +
                    (option == "--socket" || option == "--timeout" ? " without a value" : "") +
                    "; expected --socket PATH, --timeout SECONDS, --json or a command";
      return typed;
    }
  }
  typed.words.assign(arguments.begin() + static_cast<std::ptrdiff_t>(std::min(i, arguments.size())),
                     arguments.end());
  typed.json = typed.json ||
               std::find(typed.words.begin(), typed.words.end(), "--json") != typed.words.end();
  if (typed.words.empty() && !typed.help && typed.error.empty())
    typed.error = "no command is named";
  return typed;
}

/// A connection that is closed at the end.
class Connection {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Connection(int64_t timeoutSeconds)
      : deadline_(Clock::now() + std::chrono::seconds(timeoutSeconds)) {}

  bool Open(const std::string& path, std::string& error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
      error = "the path has " + std::to_string(path.size()) + " bytes; expected 1 to " +
              std::to_string(sizeof address.sun_path - 1);
      return false;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    fd_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd_ &&
        connect(fd_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return true;
    }
    error = std::strerror(errno);
    fd_.Close();
    return false;
  }

  /// A server that hangs up has said why: that is for Read to find, and no failure of sending.
  bool Send(std::string text, std::string& error) {
    while (!text.empty()) {
      const ssize_t sent = send(fd_.Get(), text.data(), text.size(), MSG_NOSIGNAL);
      if (sent > 0) text.erase(0, static_cast<size_t>(sent));
      if (sent < 0 && (errno == EPIPE || errno == ECONNRESET)) return true;
      if (sent < 0 && errno != EAGAIN && errno != EINTR) {
        error = std::strerror(errno);
        return false;
      }
      if (!text.empty() && !Wait(POLLOUT, error)) return false;
    }
    return true;
  }

  /// The next line, without its end.
  bool Read(std::string& line, std::string& error) {
    for (;;) {
      const size_t end = got_.find('\n');
      if (end != std::string::npos) {
        line = got_.substr(0, end);
        got_.erase(0, end + 1);
        return true;
      }
      // Also of who sends without an end: nothing here is a wait that the deadline would end.
      if (got_.size() > kMostLineBytes || Clock::now() >= deadline_) {
        error = Clock::now() >= deadline_ ? kLate : "the answer's line is too long";
        return false;
      }
      char bytes[4096];
      const ssize_t count = recv(fd_.Get(), bytes, sizeof bytes, 0);
      if (count > 0) got_.append(bytes, static_cast<size_t>(count));
      // A reset is an end, too: of who closed without having read everything.
      if (count == 0 || (count < 0 && errno == ECONNRESET)) {
        error = "Plexion has ended before it answered";
        return false;
      }
      if (count < 0 && errno != EAGAIN && errno != EINTR) {
        error = std::strerror(errno);
        return false;
      }
      if (count < 0 && !Wait(POLLIN, error)) return false;
    }
  }

 private:
  static constexpr const char* kLate = "no answer in time (--timeout)";
  static constexpr size_t kMostLineBytes = size_t{16} << 20;

  bool Wait(short events, std::string& error) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
    pollfd wait{fd_.Get(), events, 0};
    if (left.count() > 0 && poll(&wait, 1, static_cast<int>(left.count())) != 0) return true;
    error = kLate;
    return false;
  }

  Descriptor fd_;
  std::string got_;
  const Clock::time_point deadline_;
};

bool Connect(Connection& connection, const Typed& typed, std::string& error) {
  const std::vector<std::string> paths =
      typed.socket.empty() ? ShellSocketsToTry() : std::vector<std::string>{typed.socket};
  for (const std::string& path : paths) {
    std::string reason;
    if (connection.Open(path, reason)) return true;
    error += (error.empty() ? "" : "; ") + PrintableWord(path) + ": " + reason;
  }
  error += "; expected a Plexion that plays a programme or has --shellsocket PATH";
  return false;
}

int Fail(Console& console, const Typed& typed, const std::string& reason, int code) {
  if (typed.json) {
    const nlohmann::json error{{"error", reason}};
    console.Print(error.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
  }
  console.PrintError("plexion ctl: " + reason + "\n");
  console.Flush();
  return code;
}

}  // namespace

bool IsCtlCommand(const std::vector<std::string>& arguments) {
  return arguments.size() > 1 && arguments[1] == "ctl";
}

bool QuoteWords(const std::vector<std::string>& words, std::string& line) {
  for (const std::string& word : words) {
    if (!line.empty()) line += ' ';
    line += '"';
    for (const char character : word) {
      if (character == '\n' || character == '\r' || character == '\0') return false;
      if (character == '"' || character == '\\') line += '\\';
      line += character;
    }
    line += '"';
  }
  return true;
}

int RunCtlCommand(const std::vector<std::string>& arguments) {
  Console console;
  Typed typed = ReadLine(arguments);
  if (typed.help) {
    console.Print(kCtlUsage);
    return kExitCompleted;
  }
  // Typed before the command it is meant for the command all the same.
  if (typed.json &&
      std::find(typed.words.begin(), typed.words.end(), "--json") == typed.words.end()) {
    typed.words.emplace_back("--json");
  }
  std::string line;
  if (typed.error.empty() && !QuoteWords(typed.words, line)) {
    typed.error = "a word holds a line end; expected words without one";
  }
  if (!typed.error.empty()) {
    console.Print(kCtlUsage);
    return Fail(console, typed, typed.error, kExitUsage);
  }
  std::string error;
  Connection connection(typed.timeoutSeconds);
  if (!Connect(connection, typed, error) || !connection.Send(line + "\n", error)) {
    return Fail(console, typed, error, kExitCannotWork);
  }
  for (std::string answer; connection.Read(answer, error);) {
    if (answer == "OK") {
      console.Flush();
      return kExitCompleted;
    }
    if (answer.compare(0, 5, "ERROR") == 0) {
      const bool misused = answer.compare(0, sizeof kMisused - 1, kMisused) == 0;
      const size_t reason = misused ? sizeof kMisused - 1 : 6;
      return Fail(console, typed, answer.size() > reason ? answer.substr(reason) : "it failed",
                  misused ? kExitUsage : kExitContentError);
    }
    console.Print(answer + "\n");
  }
  return Fail(console, typed, error, kExitCannotWork);
}

}  // namespace plexion_host
