#include "events.h"

#include <algorithm>
#include <charconv>

#include "timestamp.h"

namespace qvcmsd {
namespace {

constexpr std::size_t kKept = 2000;
constexpr std::size_t kWatchers = 200;
/// Bytes that a watcher is handed at a time.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

}  // namespace

class Events::Watcher : public Stream {
 public:
  Watcher(const Events& events, std::uint64_t seen, bool has_lost, std::function<bool()> may_watch)
      : events_(events), may_watch_(std::move(may_watch)), seen_(seen), has_lost_(has_lost) {}

  std::optional<std::string> Next() override {
    const std::lock_guard lock(mutex_);
    if (is_closed_) return std::nullopt;
    std::string text = std::exchange(has_beat_, false) ? ":\n\n" : "";
    if (std::exchange(has_lost_, false)) text += "event: lost\ndata: {}\n\n";
    return text + events_.After(seen_);
  }

  void SetWake(std::function<void()> wake) override {
    const std::lock_guard lock(wake_mutex_);
    wake_ = std::move(wake);
  }

  /// Calls it with the mutex held, so that nothing is woken any more once `SetWake` was given another one.
  void Wake() {
    const std::lock_guard lock(wake_mutex_);
    if (wake_) wake_();
  }

  void Beat() {
    {
      const std::lock_guard lock(mutex_);
      has_beat_ = true;
    }
    Wake();
  }

  /// The next call of `Next` ends the stream.
  void Close() {
    {
      const std::lock_guard lock(mutex_);
      is_closed_ = true;
    }
    Wake();
  }

  bool MayWatch() const { return may_watch_(); }

 private:
  const Events& events_;
  const std::function<bool()> may_watch_;
  std::mutex mutex_;
  std::uint64_t seen_;
  bool has_lost_;
  bool has_beat_ = true;  ///< the first line shows the watcher that the stream is open
  bool is_closed_ = false;
  std::mutex wake_mutex_;
  std::function<void()> wake_;
};

Events::Events()
    : boot_(std::to_string(std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1))) {}

void Events::Publish(std::string_view type, const Json::Value& data) {
  Json::Value timed = data;
  timed["time"] = qv::Timestamp(std::chrono::system_clock::now());
  const std::string text = qv::ToJson(timed);
  {
    const std::lock_guard lock(mutex_);
    ++last_;
    kept_.push_back("id: " + boot_ + '-' + std::to_string(last_) + "\nevent: " + std::string(type) + "\ndata: " + text +
                    "\n\n");
    if (kept_.size() > kKept) kept_.pop_front();
  }
  for (const auto& watcher : Watchers()) watcher->Wake();
}

std::shared_ptr<Stream> Events::Watch(std::string_view last, std::function<bool()> may_watch) {
  const std::lock_guard lock(mutex_);
  std::erase_if(watchers_, [](const auto& watcher) { return watcher.expired(); });
  if (watchers_.size() >= kWatchers) return nullptr;
  std::uint64_t seen = last_;
  bool has_lost = false;
  if (!last.empty()) {
    const std::size_t dash = last.find('-');
    const std::string_view number = dash == std::string_view::npos ? "" : last.substr(dash + 1);
    std::uint64_t asked = 0;
    const bool is_number = std::from_chars(number.data(), number.data() + number.size(), asked).ec == std::errc();
    has_lost = !is_number || last.substr(0, dash) != boot_ || asked > last_;
    if (!has_lost) seen = asked;
  }
  auto watcher = std::make_shared<Watcher>(*this, seen, has_lost, std::move(may_watch));
  watchers_.push_back(watcher);
  return watcher;
}

std::string Events::After(std::uint64_t& seen) const {
  const std::lock_guard lock(mutex_);
  const std::uint64_t first = last_ - kept_.size();  // number of the last event that is gone
  std::string text;
  if (seen < first) {
    text = "event: lost\ndata: {}\n\n";
    seen = first;
  }
  while (seen < last_ && text.size() < kPiece) text += kept_[static_cast<std::size_t>(seen++ - first)];
  return text;
}

std::vector<std::shared_ptr<Events::Watcher>> Events::Watchers() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<Watcher>> alive;
  for (const auto& weak : watchers_) {
    if (auto watcher = weak.lock()) alive.push_back(std::move(watcher));
  }
  return alive;
}

void Events::Beat() {
  for (const auto& watcher : Watchers()) watcher->Beat();
}

void Events::EndForbidden() {
  for (const auto& watcher : Watchers()) {
    if (!watcher->MayWatch()) watcher->Close();
  }
}

void Events::Close() {
  for (const auto& watcher : Watchers()) watcher->Close();
}

std::size_t Events::watchers() const { return Watchers().size(); }

}  // namespace qvcmsd
