#include "silence.h"

#include <array>

namespace qvcmsd {

void Silence::Expect(int zr) {
  const std::lock_guard lock(mutex_);
  slaves_.try_emplace(zr, Slave{.heard = Clock::now(), .heard_at = std::chrono::system_clock::now()});
}

std::optional<Silence::WallTime> Silence::Heard(int zr) {
  const std::lock_guard lock(mutex_);
  Slave& slave = slaves_[zr];
  std::optional<WallTime> silent_since;
  if (slave.is_silent) silent_since = slave.heard_at;
  slave = {.heard = Clock::now(), .heard_at = std::chrono::system_clock::now(), .was_heard = true, .is_silent = false};
  return silent_since;
}

void Silence::Forget(int zr) {
  const std::lock_guard lock(mutex_);
  slaves_.erase(zr);
}

std::vector<Silence::Fallen> Silence::Sweep(Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  std::vector<Fallen> fallen;
  for (auto& [zr, slave] : slaves_) {
    if (slave.is_silent || now - slave.heard < after_) continue;
    slave.is_silent = true;
    fallen.push_back({zr, slave.heard_at});
  }
  return fallen;
}

std::vector<Silence::Contact> Silence::contacts() const {
  const std::lock_guard lock(mutex_);
  std::vector<Contact> contacts;
  contacts.reserve(slaves_.size());
  for (const auto& [zr, slave] : slaves_) {
    contacts.push_back({zr, slave.is_silent, slave.was_heard ? std::optional(slave.heard_at) : std::nullopt});
  }
  return contacts;
}

std::optional<Silence::WallTime> Silence::SinceWhen(int zr) const {
  const std::lock_guard lock(mutex_);
  const auto slave = slaves_.find(zr);
  if (slave == slaves_.end() || !slave->second.is_silent) return std::nullopt;
  return slave->second.heard_at;
}

std::optional<Silence::WallTime> Silence::LastHeard(int zr) const {
  const std::lock_guard lock(mutex_);
  const auto slave = slaves_.find(zr);
  if (slave == slaves_.end() || !slave->second.was_heard) return std::nullopt;
  return slave->second.heard_at;
}

Silence::Ages Silence::ages() const {
  constexpr std::array kBounds = {std::chrono::seconds(10), std::chrono::seconds(30), std::chrono::seconds(60),
                                  std::chrono::seconds(300), std::chrono::seconds(3600)};
  Ages ages;
  for (const auto bound : kBounds) ages.up_to.emplace_back(bound, 0);
  const Clock::time_point now = Clock::now();
  const std::lock_guard lock(mutex_);
  for (const auto& [zr, slave] : slaves_) {
    ++ages.all;
    if (slave.is_silent) ++ages.silent;
    for (auto& [bound, count] : ages.up_to) {
      if (slave.was_heard && now - slave.heard <= bound) ++count;
    }
  }
  return ages;
}

}  // namespace qvcmsd
