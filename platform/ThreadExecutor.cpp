#include "platform/ThreadExecutor.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "base/Faden.h"

namespace hallkorb {
namespace {

class ThreadTask final : public Task {
 public:
  explicit ThreadTask(std::thread faden) : faden_(std::move(faden)) {}
  ThreadTask(const ThreadTask&) = delete;
  ThreadTask& operator=(const ThreadTask&) = delete;
  ~ThreadTask() override { ThreadTask::warte(); }

  void warte() override {
    const std::lock_guard halter(lock_);  // several may wait
    if (faden_.joinable()) faden_.join();
  }

 private:
  std::mutex lock_;
  std::thread faden_;
};

class ThreadQueue final : public SerialQueue {
 public:
  ThreadQueue() = default;
  ThreadQueue(const ThreadQueue&) = delete;
  ThreadQueue& operator=(const ThreadQueue&) = delete;

  ~ThreadQueue() override {
    {
      const std::lock_guard halter(lock_);
      ende_ = true;
    }
    neues_.notify_one();
    if (faden_.joinable()) faden_.join();
  }

  // Before anything is queued.
  [[nodiscard]] bool beginne(const std::string& name) {
    auto faden = neuerFaden(name, [this] { laufe(); });
    if (!faden) return false;
    faden_ = std::move(*faden);
    return true;
  }

  void async(Arbeit arbeit) override {
    {
      const std::lock_guard halter(lock_);
      arbeiten_.push_back(std::move(arbeit));
      ++gestellt_;
    }
    neues_.notify_one();
  }

  void sync(Arbeit arbeit) override {
    std::unique_lock halter(lock_);
    arbeiten_.push_back(std::move(arbeit));
    const std::uint64_t nummer = ++gestellt_;
    neues_.notify_one();
    erledigtes_.wait(halter, [&] { return erledigt_ >= nummer; });
  }

 private:
  void laufe() {
    std::unique_lock halter(lock_);
    while (true) {
      neues_.wait(halter, [this] { return ende_ || !arbeiten_.empty(); });
      if (arbeiten_.empty()) return;
      Arbeit arbeit = std::move(arbeiten_.front());
      arbeiten_.pop_front();
      halter.unlock();
      arbeit();
      arbeit = nullptr;  // release what it holds before sync() returns, and not under the lock
      halter.lock();
      ++erledigt_;
      erledigtes_.notify_all();
    }
  }

  std::mutex lock_;
  std::condition_variable neues_;
  std::condition_variable erledigtes_;
  std::deque<Arbeit> arbeiten_;
  std::uint64_t gestellt_ = 0;
  std::uint64_t erledigt_ = 0;
  bool ende_ = false;
  std::thread faden_;
};

class ThreadSchlaf final : public Schlaf {
 public:
  bool warte(double sekunden) override {
    std::unique_lock halter(lock_);
    // No clock counts beyond a few centuries.
    const std::chrono::duration<double> dauer(std::min(std::max(0.0, sekunden), 1e9));
    const auto bis = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::steady_clock::duration>(dauer);
    return ende_.wait_until(halter, bis, [this] { return geweckt_; });
  }
  void wecke() override {
    const std::lock_guard halter(lock_);
    geweckt_ = true;
    ende_.notify_all();
  }

 private:
  std::mutex lock_;
  std::condition_variable ende_;
  bool geweckt_ = false;
};

}  // namespace

std::unique_ptr<Task> ThreadExecutor::starte(std::function<void()> arbeit) {
  auto faden = neuerFaden("task", std::move(arbeit));
  if (!faden) return nullptr;
  return std::make_unique<ThreadTask>(std::move(*faden));
}

bool ThreadExecutor::starteUnabhaengig(std::function<void()> arbeit) {
  auto faden = neuerFaden("task", std::move(arbeit));
  if (faden) faden->detach();
  return faden.has_value();
}

std::unique_ptr<Schlaf> ThreadExecutor::schlaf() {
  return std::make_unique<ThreadSchlaf>();
}

std::unique_ptr<SerialQueue> ThreadExecutor::queue(const std::string& name) {
  auto queue = std::make_unique<ThreadQueue>();
  if (!queue->beginne(name)) return nullptr;
  return queue;
}

}  // namespace hallkorb
