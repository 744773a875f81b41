/// How the host's copies of a slave's analytics tasks follow the slave's list: rewrite what changed, delete what is no
/// longer reported, insert what is new. IVA tasks and face tasks differ only in their facts, a class with
///
///     using Task = ...; using FilterRule = ...;      the record and the rule that selects its rows
///     static constexpr const char* kSection;         the list's key in the document
///     static constexpr const char* kKeptKeys[];      what a rewritten task keeps of the host's copy
///
/// and a function for each of the messages, as called below.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <utility>

#include "camera.h"
#include "frame/logmessage.h"
#include "frame/rowsbyid.h"
#include "qvjson.h"

/// What is left of a slave's list once the walk over it is done.
template <class Task>
struct TaskRemainder {
  Json::Value new_tasks{Json::arrayValue};
  std::list<Task> extra;  ///< copies that the slave did not report
};

/// Writes the tasks that changed.
/// @param updateOnly  unknown tasks are of no interest
template <class Facts>
TaskRemainder<typename Facts::Task> UpdateTasks(const Json::Value& reported, int zrId,
                                                const std::map<int, Camera>& cameras,
                                                std::list<typename Facts::Task> copies, bool updateOnly) {
  using Task = typename Facts::Task;
  TaskRemainder<Task> remainder;
  RowsById<Task> unreported(std::move(copies), [](const Task& task) { return task.GetIdOnRecServer(); });
  for (const Json::Value& element : reported) {
    const int slave_task_id = element["id"].asInt();
    const int slave_cam_id = element["camera_id"].asInt();
    const auto camera = cameras.find(slave_cam_id);
    if (camera == cameras.end()) {
      // The copy stays unreported: a task without its camera is of no use on the host.
      Facts::LogNoCamera(slave_cam_id, zrId);
      continue;
    }
    const std::list<Task> copy = unreported.Take(slave_task_id);
    if (copy.empty() && updateOnly) continue;
    Json::Value task = element;
    task["id_on_rec_server"] = slave_task_id;
    task["owner_zr_id"] = zrId;
    task["camera_id"] = camera->second.GetId();
    if (copy.empty()) {
      task["id"] = 0;
      remainder.new_tasks.append(std::move(task));
      continue;
    }
    const int host_id = copy.front().GetId();
    const Json::Value original = copy.front().ToJson(false);
    for (const char* const key : Facts::kKeptKeys) task[key] = original[key];
    if (QVJson::CheckEqual(original, task)) continue;
    Facts::LogChanged(host_id, original, task);
    Task::InsertIntoDB(task);
  }
  remainder.extra = unreported.TakeRest();
  return remainder;
}

/// Brings the host's copies in line with the document. A document without the list touches nothing.
/// @param updateOnly  neither delete nor insert
template <class Facts>
void SyncTasks(const Json::Value& info, int zrId, CachedCamMap& camMap, bool updateOnly) {
  using Task = typename Facts::Task;
  if (!info.isMember(Facts::kSection)) return;
  typename Facts::FilterRule rule;
  rule.ownerZrId = zrId;
  std::map<int, Camera> cameras;
  if (!camMap.Get(cameras)) return Facts::LogNoCameras(zrId);
  std::list<Task> copies;
  if (Task::Enum(rule, copies) != 0) return Facts::LogNoList(zrId);

  const auto [new_tasks, extra] =
      UpdateTasks<Facts>(info[Facts::kSection], zrId, cameras, std::move(copies), updateOnly);
  if (updateOnly) return;
  if (!extra.empty()) Facts::LogExtra(zrId);
  for (const Task& task : extra) {
    if (task.Delete(false) != 0) Facts::LogDeleteFailed(task.GetId(), zrId);
  }
  for (const Json::Value& task : new_tasks) {
    Facts::LogNew(zrId, task);
    Task::InsertIntoDB(task);
  }
}
