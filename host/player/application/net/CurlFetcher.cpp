// Asks addresses on a thread of its own, all of them side by side, so that one that stalls holds up no
// other.
#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <system_error>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/Text.h"
#include "host/player/application/net/HttpRequest.h"
#include "host/player/application/net/WebAddress.h"

namespace plexion_host::player::application {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMostRedirections = 5;
constexpr double kFirstRetrySeconds = 5;
constexpr std::chrono::hours kLongestWait{1};

Clock::duration Seconds(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

class CurlFetcher final : public DataFetcher {
 public:
  explicit CurlFetcher(FetchSettings settings)
      : settings_(std::move(settings)), proxy_(settings_.proxy) {
    for (size_t i = 0; i < settings_.addresses.size(); ++i) questions_.emplace_back(underWay_);
  }
  ~CurlFetcher() override {
    {
      const MutexLock lock(mutex_);
      stops_ = true;
    }
    if (multi_ != nullptr) curl_multi_wakeup(multi_);
    thread_.Join();
    questions_.clear();
    if (multi_ != nullptr) curl_multi_cleanup(multi_);
  }

  bool Start() {
    // Once for the process: the library's own set-up is no matter for two threads.
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_ = ready == CURLE_OK ? curl_multi_init() : nullptr;
    if (multi_ == nullptr) return false;
    try {
      thread_ = NamedThread("PlexionFetch", [this] { Run(); });
    } catch (const std::system_error&) {
      return false;
    }
    return true;
  }

  std::vector<Fetched> Take() override {
    const MutexLock lock(mutex_);
    std::vector<Fetched> taken;
    for (auto& each : fetched_) {
      // From here on its bytes are the application's, which counts them against its own limit.
      underWay_ -= each.second.bytes.size();
      taken.push_back(std::move(each.second));
    }
    fetched_.clear();
    return taken;
  }

  void Refuse(size_t index) override {
    {
      const MutexLock lock(mutex_);
      refused_.push_back(index);
    }
    curl_multi_wakeup(multi_);
  }

  void SetProxy(const ProxySettings& proxy) override {
    const MutexLock lock(mutex_);
    proxy_ = proxy;
  }

 private:
  struct Question {
    explicit Question(std::atomic<uint64_t>& underWay) : request(underWay) {}

    HttpRequest request;
    Clock::time_point due = Clock::now();
    Clock::time_point end;  ///< of the one under way
    bool isUnderWay = false;
    int redirections = 0;
    unsigned failures = 0;     ///< one after the other, refusals among them
    bool wasAnswered = false;  ///< and nobody has refused it yet
    bool isRefused = false;    ///< what is kept is older than the version; asked for anew
    AnswerVersion version;
    std::string asked;  ///< the address at hand, where a redirection leads
  };

  bool Stops() {
    const MutexLock lock(mutex_);
    return stops_;
  }

  void Run() {
    while (!Stops()) {
      int running = 0;
      curl_multi_perform(multi_, &running);
      TakeAnswers();
      TakeRefusals();
      const Clock::time_point now = Clock::now();
      Clock::time_point next = now + kLongestWait;
      for (size_t i = 0; i < questions_.size(); ++i) {
        Question& question = questions_[i];
        if (!question.isUnderWay && question.due <= now) Ask(i);
        if (!question.isUnderWay) next = std::min(next, question.due);
      }
      const auto wait =
          std::chrono::duration_cast<std::chrono::milliseconds>(next - now).count() + 1;
      // The library knows its own time-outs, also that a question is new, and wakes for them.
      curl_multi_poll(multi_, nullptr, 0, static_cast<int>(std::max<int64_t>(wait, 0)), nullptr);
    }
    for (Question& question : questions_) {
      if (question.isUnderWay) curl_multi_remove_handle(multi_, question.request.Handle());
    }
  }

  void Ask(size_t index) {
    Question& question = questions_[index];
    question.redirections = 0;
    // Answered, and nobody has refused it since: the waits after failures begin anew.
    if (std::exchange(question.wasAnswered, false)) question.failures = 0;
    if (std::exchange(question.isRefused, false)) question.version = AnswerVersion();
    // One end for the whole way: a server that sends from place to place wins no time by it.
    question.end = Clock::now() + Seconds(settings_.addresses[index].timeoutSeconds);
    Send(index, settings_.addresses[index].address);
  }

  void Send(size_t index, const std::string& address) {
    Question& question = questions_[index];
    question.asked = address;
    const double left = std::chrono::duration<double>(question.end - Clock::now()).count();
    {
      const MutexLock lock(mutex_);
      question.request.Begin(address, left, settings_, proxy_, question.version);
    }
    question.isUnderWay = question.request.Handle() != nullptr &&
                          curl_multi_add_handle(multi_, question.request.Handle()) == CURLM_OK;
    if (!question.isUnderWay) Fail(index, "no memory for the question");
  }

  void TakeAnswers() {
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode code = message->data.result;
      CURL* const handle = message->easy_handle;
      const auto found =
          std::find_if(questions_.begin(), questions_.end(),
                       [&](Question& question) { return question.request.Handle() == handle; });
      PLEXION_CHECK(found != questions_.end(), "the library tells of what it was given");
      curl_multi_remove_handle(multi_, handle);
      found->isUnderWay = false;
      Finish(static_cast<size_t>(found - questions_.begin()), code);
    }
  }

  void TakeRefusals() {
    std::vector<size_t> refused;
    {
      const MutexLock lock(mutex_);
      refused.swap(refused_);
    }
    for (const size_t index : refused) {
      if (index >= questions_.size()) continue;
      Question& question = questions_[index];
      question.isRefused = true;
      // One that is under way may bring another answer; if it says that nothing has changed, the next one
      // asks for all of it.
      if (!question.isUnderWay) Postpone(index);
    }
  }

  void Finish(size_t index, CURLcode code) {
    Question& question = questions_[index];
    switch (question.request.Finish(code)) {
      case HttpRequest::Outcome::kRedirected:
        return Redirect(index, question.request.Redirection());
      case HttpRequest::Outcome::kFailed:
        return Fail(index, question.request.Failure());
      case HttpRequest::Outcome::kAnswer:
        question.version = question.request.Version();
        question.isRefused = false;
        Tell({index, question.request.TakeBytes(), ""});
        break;
      case HttpRequest::Outcome::kUnchanged:
        if (question.isRefused) return Postpone(index);
        break;
    }
    question.wasAnswered = true;
    question.due = Clock::now() + Seconds(settings_.addresses[index].everySeconds);
  }

  /// A copy: the next question clears what the last one was answered.
  void Redirect(size_t index, std::string target) {
    Question& question = questions_[index];
    const std::string host = HostOf(target);
    // A declared server must not make this device ask one that nobody declared, in its own network above all.
    if (std::find(settings_.hosts.begin(), settings_.hosts.end(), host) == settings_.hosts.end()) {
      return Fail(index, "the server sends to \"" + PrintableWord(target.substr(0, 200)) +
                             "\"; expected a host that the application declares");
    }
    // What was asked for by https is not handed on to whoever listens.
    if (IsSecure(question.asked) && !IsSecure(target)) {
      return Fail(index, "the server sends from https to an address without");
    }
    if (++question.redirections > kMostRedirections) {
      return Fail(index, "the server sends from one address to the next more than " +
                             std::to_string(kMostRedirections) + " times");
    }
    Send(index, target);
  }

  static bool IsSecure(const std::string& address) {
    return LowerAscii(address.substr(0, 6)) == "https:";
  }

  void Fail(size_t index, const std::string& reason) {
    Postpone(index);
    Tell({index, "", reason});
  }

  /// Asks again sooner than it would, but later each time.
  void Postpone(size_t index) {
    Question& question = questions_[index];
    const double every = settings_.addresses[index].everySeconds;
    const double retry =
        kFirstRetrySeconds * static_cast<double>(1U << std::min(question.failures, 16U));
    ++question.failures;
    question.wasAnswered = false;
    question.due = Clock::now() + Seconds(std::min(every, retry));
  }

  void Tell(Fetched fetched) {
    {
      const MutexLock lock(mutex_);
      Fetched& last = fetched_[fetched.index];
      // An answer that nobody has taken yet is not lost by a failure after it.
      if (fetched.failure.empty() || last.bytes.empty()) {
        underWay_ -= last.bytes.size();
        last = std::move(fetched);
      }
    }
    // Without the lock: it takes the player's.
    settings_.wake();
  }

  const FetchSettings settings_;
  CURLM* multi_ = nullptr;
  std::atomic<uint64_t> underWay_{0};  ///< bytes of answers that nobody has taken yet
  std::deque<Question> questions_;     ///< the thread's while it runs
  Mutex mutex_;
  ProxySettings proxy_ GUARDED_BY(mutex_);  ///< a host may name another one while content plays
  bool stops_ GUARDED_BY(mutex_) = false;
  std::vector<size_t> refused_ GUARDED_BY(mutex_);
  std::map<size_t, Fetched> fetched_ GUARDED_BY(mutex_);
  NamedThread thread_;  ///< last: it uses all of the others
};

}  // namespace

std::unique_ptr<DataFetcher> MakeDataFetcher(FetchSettings settings) {
  PLEXION_CHECK(settings.wake != nullptr, "somebody wants to hear of what comes");
  auto fetcher = std::make_unique<CurlFetcher>(std::move(settings));
  if (!fetcher->Start()) return nullptr;
  return fetcher;
}

}  // namespace plexion_host::player::application
