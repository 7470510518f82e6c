// Hands calls to the thread that plays, and takes them back when it does not come.
#include "host/launcher/run/RequestQueue.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host {

bool RequestQueue::Call(const std::function<void()>& work, std::chrono::milliseconds patience) {
  PLEXION_CHECK(work != nullptr, "there is something to be done");
  Request request{&work};
  // Not open: nobody will ever serve it, and the wait below ends at once.
  board_.Post([&] {
    if (open_) waiting_.push_back(&request);
  });
  board_.WaitUntil(StatusBoard::Clock::now() + patience, [&] { return request.taken || !open_; });
  // Taken back in the same step that finds it not begun: nobody can begin it behind that.
  const bool begun = board_.Ask([&] {
    waiting_.erase(std::remove(waiting_.begin(), waiting_.end(), &request), waiting_.end());
    return request.taken;
  });
  // What was begun is waited for: it works on what the caller holds.
  if (begun) board_.Wait([&] { return request.done; });
  return begun;
}

void RequestQueue::Open() {
  board_.Post([this] { open_ = true; });
}

void RequestQueue::Serve() {
  while (Request* const request = board_.Ask([this]() -> Request* {
    if (waiting_.empty()) return nullptr;
    Request* const first = waiting_.front();
    waiting_.pop_front();
    first->taken = true;
    return first;
  })) {
    (*request->work)();
    board_.Post([&] { request->done = true; });
  }
}

void RequestQueue::Close() {
  board_.Post([this] {
    open_ = false;
    waiting_.clear();
  });
}

}  // namespace plexion_host
