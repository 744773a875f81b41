#include "pipeline.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "log.h"

namespace qvcmsd {
namespace {

/// Documents that are committed together: enough that a sync costs little for each.
constexpr std::size_t kGroup = 64;
/// Documents that may have been read and wait to be applied: they take more memory than their texts.
constexpr std::size_t kRead = 2 * kGroup;

}  // namespace

Pipeline::Pipeline(qv::Host& host, const PipelineLimits& limits) : host_(host), limits_(limits) {
  const unsigned readers = limits.readers == 0 ? std::max(1U, std::thread::hardware_concurrency()) : limits.readers;
  for (unsigned i = 0; i < readers; ++i) readers_.emplace_back([this] { ReadAll(); });
  applier_ = std::thread([this] { ApplyAll(); });
}

Pipeline::~Pipeline() {
  {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [&] { return depth_.waiting == 0 && depth_.under_way == 0; });
    stopping_ = true;
  }
  to_read_.notify_all();
  to_apply_.notify_all();
  for (std::thread& reader : readers_) reader.join();
  applier_.join();
}

Pipeline::Offer Pipeline::Take(std::unique_ptr<Work>& work) {
  const std::lock_guard lock(mutex_);
  if (depth_.waiting >= limits_.all || depth_.bytes + work->size() > limits_.bytes) return Offer::Full;
  const int zr = work->zr();
  Lane& lane = lanes_[zr];
  if (lane.waiting.size() >= limits_.per_slave) return Offer::SlaveFull;
  ++depth_.waiting;
  depth_.bytes += work->size();
  if (lane.waiting.empty() && !lane.is_busy) turns_.push_back(zr);
  lane.waiting.push_back(std::move(work));
  to_read_.notify_one();
  return Offer::Taken;
}

Pipeline::Depth Pipeline::depth() const {
  const std::lock_guard lock(mutex_);
  return depth_;
}

void Pipeline::ReadAll() {
  std::unique_lock lock(mutex_);
  for (;;) {
    to_read_.wait(lock, [&] { return stopping_ || (!turns_.empty() && to_be_done_.size() < kRead); });
    if (stopping_) return;
    Lane& lane = lanes_[turns_.front()];
    turns_.pop_front();
    std::unique_ptr<Work> work = std::move(lane.waiting.front());
    lane.waiting.pop_front();
    lane.is_busy = true;
    --depth_.waiting;
    ++depth_.under_way;
    lock.unlock();
    bool is_read = false;
    {
      const Log::Scope scope(work->request());
      try {
        work->Read();
        is_read = true;
      } catch (const qv::Refusal& refusal) {
        work->Refuse(refusal);
      } catch (const std::bad_alloc&) {
        work->Refuse({qv::RefusalCode::Failed, "there is not enough memory for the document"});
      }
    }
    if (!is_read) {
      std::vector<std::unique_ptr<Work>> done;
      done.push_back(std::move(work));
      Release(std::move(done));
      lock.lock();
      continue;
    }
    lock.lock();
    to_be_done_.push_back(std::move(work));
    to_apply_.notify_one();
  }
}

void Pipeline::ApplyAll() {
  std::unique_lock lock(mutex_);
  for (;;) {
    to_apply_.wait(lock, [&] { return stopping_ || !to_be_done_.empty(); });
    if (to_be_done_.empty()) return;
    std::vector<std::unique_ptr<Work>> group;
    while (!to_be_done_.empty() && group.size() < kGroup) {
      group.push_back(std::move(to_be_done_.front()));
      to_be_done_.pop_front();
    }
    to_read_.notify_all();
    lock.unlock();
    ApplyGroup(std::move(group));
    lock.lock();
  }
}

void Pipeline::ApplyGroup(std::vector<std::unique_ptr<Work>> group) {
  std::vector<std::function<void()>> calls;
  for (const std::unique_ptr<Work>& work : group) {
    calls.emplace_back([this, &work] {
      const Log::Scope scope(work->request());
      try {
        work->Apply(host_);
      } catch (const std::bad_alloc&) {
        throw qv::Refusal(qv::RefusalCode::Failed, "there is not enough memory for the document");
      }
    });
  }
  const std::vector<qv::Host::Outcome> outcomes = host_.Together(calls);
  for (std::size_t i = 0; i < group.size(); ++i) {
    const Log::Scope scope(group[i]->request());
    const auto& [refusal, failed_files] = outcomes[i];
    refusal ? group[i]->Refuse(*refusal) : group[i]->Finish(failed_files);
  }
  Release(std::move(group));
}

void Pipeline::Release(std::vector<std::unique_ptr<Work>> done) {
  const std::lock_guard lock(mutex_);
  for (const std::unique_ptr<Work>& work : done) {
    --depth_.under_way;
    depth_.bytes -= work->size();
    const auto lane = lanes_.find(work->zr());
    lane->second.is_busy = false;
    if (lane->second.waiting.empty()) {
      lanes_.erase(lane);
    } else {
      turns_.push_back(work->zr());
      to_read_.notify_one();
    }
  }
  if (depth_.waiting == 0 && depth_.under_way == 0) idle_.notify_all();
}

}  // namespace qvcmsd
