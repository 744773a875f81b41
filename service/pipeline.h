/// The way of what changes the host: bounded queues, readers that work on all cores, and one thread that applies.
///
/// Each slave has a queue of its own, and the slaves take turns, so that none starves another. What one slave sends is
/// read and applied in the order in which it came, one document at a time; documents of different slaves are read at
/// the same time. What waits to be applied is applied together: one commit for all of it.
#pragma once

#include <qv/host.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace qvcmsd {

/// Something to be done to the host. The functions are called in this order, on different threads, and end with either
/// `Finish` or `Refuse`.
class Work {
 public:
  Work(int zr, std::string request, std::size_t size) : zr_(zr), request_(std::move(request)), size_(size) {}
  virtual ~Work() = default;
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  /// Reads the document. May throw `qv::Refusal`.
  virtual void Read() {}
  /// Calls the host. May throw `qv::Refusal`, and may be called again when a commit failed.
  virtual void Apply(qv::Host& host) = 0;
  /// What was applied is committed. @param failed_files  of it, besides those that the result has
  virtual void Finish(int failed_files) = 0;
  virtual void Refuse(const qv::Refusal& refusal) = 0;

  int zr() const { return zr_; }  ///< the slave whose turn it needs; 0: none in particular
  const std::string& request() const { return request_; }
  std::size_t size() const { return size_; }

 private:
  const int zr_;
  const std::string request_;
  const std::size_t size_;
};

struct PipelineLimits {
  std::size_t per_slave = 8;                           ///< waiting work of one slave
  std::size_t all = 10'000;                            ///< waiting work
  std::size_t bytes = std::size_t{256} * 1024 * 1024;  ///< of waiting documents
  unsigned readers = 0;                                ///< 0: as many as there are cores
};

class Pipeline {
 public:
  Pipeline(qv::Host& host, const PipelineLimits& limits);
  /// Does what waits, then ends.
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  enum class Offer { Taken, SlaveFull, Full };
  /// Takes the work if there is room for it.
  Offer Take(std::unique_ptr<Work>& work);

  struct Depth {
    std::size_t waiting = 0;
    std::size_t bytes = 0;
    std::size_t under_way = 0;  ///< being read or applied
  };
  Depth depth() const;

 private:
  struct Lane {
    std::deque<std::unique_ptr<Work>> waiting;
    bool is_busy = false;  ///< one of its works is under way
  };

  /// What became of a work.
  struct Told {
    std::unique_ptr<Work> work;
    qv::Host::Outcome outcome;
  };

  void ReadAll();
  void ReadNext(std::unique_lock<std::mutex>& lock);
  void ApplyAll();
  std::vector<qv::Host::Outcome> Apply(const std::vector<std::unique_ptr<Work>>& group);
  void Tell(Told told);
  void Release(const Work& work);

  qv::Host& host_;
  const PipelineLimits limits_;
  mutable std::mutex mutex_;
  std::condition_variable to_read_;
  std::condition_variable to_apply_;
  std::condition_variable idle_;
  std::unordered_map<int, Lane> lanes_;
  std::deque<int> turns_;                         ///< lanes that have work and are not busy
  std::deque<std::unique_ptr<Work>> to_be_done_;  ///< was read
  std::deque<Told> to_be_told_;                   ///< was done; the readers answer it before they read more
  Depth depth_;
  bool stopping_ = false;
  std::vector<std::thread> readers_;
  std::thread applier_;
};

}  // namespace qvcmsd
