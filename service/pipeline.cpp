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

/// What `call` is refused for, if it is.
template <class Call>
std::optional<qv::Refusal> WhyRefused(Call&& call) {
  try {
    call();
    return std::nullopt;
  } catch (const qv::Refusal& refusal) {
    return refusal;
  } catch (const std::bad_alloc&) {
    return qv::Refusal(qv::RefusalCode::Failed, "there is not enough memory for the document");
  }
}

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
    to_read_.wait(lock,
                  [&] { return stopping_ || !to_be_told_.empty() || (!turns_.empty() && to_be_done_.size() < kRead); });
    if (stopping_) return;
    if (to_be_told_.empty()) {
      ReadNext(lock);
    } else {
      Told told = std::move(to_be_told_.front());
      to_be_told_.pop_front();
      lock.unlock();
      Tell(std::move(told));
      lock.lock();
    }
  }
}

void Pipeline::ReadNext(std::unique_lock<std::mutex>& lock) {
  Lane& lane = lanes_[turns_.front()];
  turns_.pop_front();
  std::unique_ptr<Work> work = std::move(lane.waiting.front());
  lane.waiting.pop_front();
  lane.is_busy = true;
  --depth_.waiting;
  ++depth_.under_way;
  lock.unlock();
  std::optional<qv::Refusal> refusal;
  {
    const Log::Scope scope(work->request());
    refusal = WhyRefused([&] { work->Read(); });
  }
  const bool is_refused = refusal.has_value();
  if (is_refused) Tell({.work = std::move(work), .outcome = {.refusal = std::move(refusal)}});
  lock.lock();
  if (is_refused) return;
  to_be_done_.push_back(std::move(work));
  to_apply_.notify_one();
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
    const std::vector<qv::Host::Outcome> outcomes = Apply(group);
    lock.lock();
    for (std::size_t i = 0; i < group.size(); ++i) to_be_told_.push_back({std::move(group[i]), outcomes[i]});
    to_read_.notify_all();
  }
}

std::vector<qv::Host::Outcome> Pipeline::Apply(const std::vector<std::unique_ptr<Work>>& group) {
  std::vector<std::function<void()>> calls;
  calls.reserve(group.size());
  for (const std::unique_ptr<Work>& work : group) {
    calls.emplace_back([this, &work] {
      const Log::Scope scope(work->request());
      if (const auto refusal = WhyRefused([&] { work->Apply(host_); })) throw qv::Refusal(*refusal);
    });
  }
  return host_.Together(calls);
}

void Pipeline::Tell(Told told) {
  const auto& [work, outcome] = told;
  {
    const Log::Scope scope(work->request());
    outcome.refusal ? work->Refuse(*outcome.refusal) : work->Finish(outcome.failed_files);
  }
  Release(*work);
}

void Pipeline::Release(const Work& work) {
  const std::lock_guard lock(mutex_);
  --depth_.under_way;
  depth_.bytes -= work.size();
  const auto lane = lanes_.find(work.zr());
  lane->second.is_busy = false;
  if (lane->second.waiting.empty()) {
    lanes_.erase(lane);
  } else {
    turns_.push_back(work.zr());
    to_read_.notify_one();
  }
  if (depth_.waiting == 0 && depth_.under_way == 0) idle_.notify_all();
}

}  // namespace qvcmsd
