/// Brings the host's copies of a slave's analytics tasks in line with the slave's list: rewrites what changed, deletes
/// what is no longer reported, inserts what is new. IVA tasks and face tasks differ only in their facts, a class with
///
///     using Task = ...; using FilterRule = ...;      the record and the rule that selects its rows
///     static constexpr const char* kSection;         the list's key in the document
///     static constexpr const char* kKeptKeys[];      members that a rewritten task keeps from the host's copy
///
/// and one function for each message, called below.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <optional>
#include <utility>

#include "camera.h"
#include "frame/logmessage.h"
#include "frame/rowsbyid.h"
#include "qvjson.h"

/// What remains to be done once the changed tasks are written.
template <class Task>
struct RemainingTasks {
  Json::Value new_tasks{Json::arrayValue};
  std::list<Task> extra;  ///< copies that the slave did not report
};

/// Writes the tasks that changed.
/// @param update_only  ignore tasks that the host does not have
template <class Facts>
RemainingTasks<typename Facts::Task> UpdateTasks(const Json::Value& reported, int zr_id,
                                                 const std::map<int, Camera>& cameras,
                                                 std::list<typename Facts::Task> copies, bool update_only) {
  using Task = typename Facts::Task;
  RemainingTasks<Task> remaining;
  RowsById<Task> unreported(std::move(copies), [](const Task& task) { return task.GetIdOnRecServer(); });
  for (const Json::Value& element : reported) {
    const int slave_task_id = element["id"].asInt();
    const int slave_cam_id = element["camera_id"].asInt();
    const auto camera = cameras.find(slave_cam_id);
    if (camera == cameras.end()) {
      // The copy counts as not reported and is deleted: a task without its camera is useless.
      Facts::LogNoCamera(slave_cam_id, zr_id);
      continue;
    }
    const std::optional<Task> copy = unreported.Take(slave_task_id);
    if (!copy && update_only) continue;
    Json::Value task = element;
    task["id_on_rec_server"] = slave_task_id;
    task["owner_zr_id"] = zr_id;
    task["camera_id"] = camera->second.GetId();
    if (!copy) {
      task["id"] = 0;
      remaining.new_tasks.append(std::move(task));
      continue;
    }
    const Json::Value original = copy->ToJson(false);
    for (const char* const key : Facts::kKeptKeys) task[key] = original[key];
    if (QVJson::CheckEqual(original, task)) continue;
    Facts::LogChanged(copy->GetId(), original, task);
    Task::InsertIntoDB(task);
  }
  remaining.extra = unreported.TakeRemaining();
  return remaining;
}

/// Brings the host's copies in line with the document. A document without the list touches nothing.
/// @param update_only  neither delete nor insert
template <class Facts>
void SyncTasks(const Json::Value& info, int zr_id, CachedCamMap& camera_map, bool update_only) {
  using Task = typename Facts::Task;
  if (!info.isMember(Facts::kSection)) return;
  typename Facts::FilterRule rule;
  rule.ownerZrId = zr_id;
  std::map<int, Camera> cameras;
  if (!camera_map.Get(cameras)) return Facts::LogNoCameras(zr_id);
  std::list<Task> copies;
  if (Task::Enum(rule, copies) != 0) return Facts::LogNoList(zr_id);

  const auto [new_tasks, extra] =
      UpdateTasks<Facts>(info[Facts::kSection], zr_id, cameras, std::move(copies), update_only);
  if (update_only) return;
  if (!extra.empty()) Facts::LogExtra(zr_id);
  for (const Task& task : extra) {
    if (task.Delete(false) != 0) Facts::LogDeleteFailed(task.GetId(), zr_id);
  }
  for (const Json::Value& task : new_tasks) {
    Facts::LogNew(zr_id, task);
    Task::InsertIntoDB(task);
  }
}
