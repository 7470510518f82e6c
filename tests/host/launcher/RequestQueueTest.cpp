// Calls to the thread that plays.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/launcher/run/RequestQueue.h"

namespace plexion_host {
namespace {

using std::chrono::milliseconds;

TEST(RequestQueueTest, CallsAreDoneInOrderByTheThreadThatServes) {
  StatusBoard board;
  RequestQueue queue(board);
  queue.Open();
  std::thread::id server;
  bool ended = false;
  std::vector<int> done;
  std::thread player([&] {
    server = std::this_thread::get_id();
    while (!board.Ask([&] { return ended; })) {
      queue.Serve();
      board.Wait([&] { return ended || queue.HasRequestsLocked(); });
    }
  });
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(queue.Call(
        [&] {
          EXPECT_EQ(server, std::this_thread::get_id());
          done.push_back(i);
        },
        milliseconds(60000)));
  }
  board.Post([&] { ended = true; });
  player.join();
  EXPECT_EQ(200u, done.size());
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
}

TEST(RequestQueueTest, WhatIsGivenUpIsNeverDone) {
  StatusBoard board;
  RequestQueue queue(board);
  bool done = false;
  const auto work = [&] { done = true; };
  EXPECT_FALSE(queue.Call(work, milliseconds(60000))) << "nobody serves: no wait";
  queue.Open();
  EXPECT_FALSE(queue.Call(work, milliseconds(1)));
  queue.Serve();
  EXPECT_FALSE(done);
  // An end frees whoever waits.
  std::thread caller([&] { EXPECT_FALSE(queue.Call(work, milliseconds(60000))); });
  board.Wait([&] { return queue.HasRequestsLocked(); });
  queue.Close();
  caller.join();
  queue.Serve();
  EXPECT_FALSE(done);
}

TEST(RequestQueueTest, TheAnswerIsTrueHoweverCloseTheEndOfThePatience) {
  StatusBoard board;
  RequestQueue queue(board);
  queue.Open();
  std::atomic<bool> ended{false};
  std::thread player([&] {
    while (!ended) queue.Serve();
  });
  unsigned done = 0;
  unsigned answered = 0;
  for (int i = 0; i < 20000; ++i) {
    // Begun just before, or taken back: never begun behind the caller's back.
    if (queue.Call([&] { ++done; }, milliseconds(0))) ++answered;
  }
  ended = true;
  player.join();
  EXPECT_EQ(answered, done);
}

}  // namespace
}  // namespace plexion_host
