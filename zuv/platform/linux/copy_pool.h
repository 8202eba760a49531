// The threads that write file data while a tree walk goes on. A walk hands each file's data and
// metadata to a pool of its own and waits for it before it answers.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace zuv::platform {

/// Runs jobs on up to a given number of threads, started when the first job comes. With one
/// thread or none, a job runs at once on the thread that hands it over, so the walk is serial.
class CopyPool {
 public:
  /// A pool of `threads` threads.
  explicit CopyPool(unsigned threads);
  /// Waits for every job, then ends the threads.
  ~CopyPool();
  CopyPool(const CopyPool&) = delete;
  CopyPool& operator=(const CopyPool&) = delete;

  /// The number of threads for a copy: $ZUV_COPY_THREADS when it is a positive number, else the
  /// machine's cores; 32 at the most.
  static unsigned ThreadsForCopy();

  /// Runs `job`, queued for a thread of the pool. Blocks while many jobs are queued, so that the
  /// descriptors the queued jobs hold stay few.
  void Run(std::function<void()> job);
  /// Returns once every job handed over so far has run.
  void Wait();

 private:
  void Serve();

  const unsigned m_threads;
  std::mutex m_lock;
  std::condition_variable m_work;  // a job was queued, or the pool ends
  std::condition_variable m_room;  // the queue shrank, or a job ended
  std::deque<std::function<void()>> m_queue;
  size_t m_running = 0;
  bool m_ending = false;
  std::vector<std::thread> m_workers;
};

}  // namespace zuv::platform
