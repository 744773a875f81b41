/// What happens on the host, told to those who watch: server-sent events.
///
/// The last events are kept, so that a watcher who comes back with the id of the last one that it has seen misses none.
/// A watcher who is too slow, or away for too long, is told that it lost some: it reads the lists again then.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "http.h"

namespace qvcmsd {

class Events {
 public:
  Events();

  /// Tells of something. @param data  an object
  void Publish(std::string_view type, const Json::Value& data);
  /// A stream of what happens from now on, or since the event `last`. Null: there are too many watchers.
  /// @param may_watch  asked again by `EndForbidden`
  std::shared_ptr<Stream> Watch(std::string_view last, std::function<bool()> may_watch);
  /// Ends the streams of those who may not watch any more.
  void EndForbidden();
  /// Sends every watcher a line without meaning, which finds out those that are gone.
  void Beat();
  /// Ends all streams.
  void Close();
  std::size_t watchers() const;

 private:
  class Watcher;
  friend class Watcher;
  /// What follows the event `seen`, and moves `seen` behind it.
  std::string After(std::uint64_t& seen) const;
  std::vector<std::shared_ptr<Watcher>> Watchers() const;

  const std::string boot_;  ///< tells events of this process from those of an earlier one
  mutable std::mutex mutex_;
  std::deque<std::string> kept_;
  std::uint64_t last_ = 0;  ///< number of the last event
  mutable std::vector<std::weak_ptr<Watcher>> watchers_;
};

}  // namespace qvcmsd
