/// Counting of people and vehicles: the two kinds of counting widgets with their converters and storages, and the
/// groups that add several widgets up.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "qvoptional.h"
#include "tavicountingwidget.h"

namespace QvObjectCounting {

/// What widgets of both kinds hold.
struct CountingWidget {
  int id = 0;             ///< on the host; 0: not stored yet
  int idOnRecServer = 0;  ///< on the slave
  int taskId = 0;         ///< host id of the IVA task
  std::string name;
  TAVI_COUNTING_WIDGET_DETECT_TYPE detectType = COUNTING_WIDGET_DETECT_PEOPLE;
  TAVI_COUNTING_WIDGET_CALCULATION_TYPE calculationType = COUNTING_WIDGET_CALCULATION_ENTER;
  int capacity = 0;    ///< 0: no limit
  Json::Value points;  ///< the list as reported; every point has its "x" and "y", parts of the picture's size
  Json::Value others;  ///< reported members that have no field here, an object; kept as they are
};

/// An area inside which is counted: "region", its three or more corners.
struct RegionWidget : CountingWidget {};

/// A line across which is counted: "fence", its two or more points.
struct FenceWidget : CountingWidget {};

/// Reads widgets from JSON:
///
///     {"id":0,"id_on_rec_server":3,"iva_setting_id":12,"name":"Entrance","type":2,"detect_type":0,
///      "calculation_type":1,"capacity":0,"fence":[{"x":0.1,"y":0.5},{"x":0.9,"y":0.5}]}
///
/// A member that is absent or null has its default, except for the points. Empty when the JSON is no object, a member
/// has an impossible type, or there are too few points.
class CountingWidgetConverter {
 public:
  static Optional<RegionWidget> Convert2RegionWidget(const Json::Value& json);
  static Optional<FenceWidget> Convert2FenceWidget(const Json::Value& json);
};

/// Stores widgets of one kind.
template <class Widget>
class IWidgetStorage {
 public:
  virtual ~IWidgetStorage() = default;
  /// Writes the row that the widget's id names if anything of it differs, or a new one when that is 0.
  /// @return 0 on success, -1 on failure
  virtual int Save(const Widget& widget) const = 0;
  /// @return 0 when the widget is deleted or was not there as one of this kind, -1 on failure
  virtual int DeleteById(int id) const = 0;

 protected:
  IWidgetStorage() = default;
  IWidgetStorage(const IWidgetStorage&) = default;
  IWidgetStorage& operator=(const IWidgetStorage&) = default;
};

class DbRegionWidgetStorage : public IWidgetStorage<RegionWidget> {
 public:
  int Save(const RegionWidget& widget) const override;
  int DeleteById(int id) const override;
};

class DbFenceWidgetStorage : public IWidgetStorage<FenceWidget> {
 public:
  int Save(const FenceWidget& widget) const override;
  int DeleteById(int id) const override;
};

/// Host ids of the widgets of all slaves, by the slave's id and the widget's id there. Of a widget that has moved from
/// one task to another and so has several rows, the one that the slave reported last.
/// @throws std::runtime_error when they cannot be read; with an empty map, every group would lose its widgets
std::map<std::pair<int, int>, int> GetWidgetCmsInfo2IdMap();

/// Several widgets whose counts are added up.
struct CountingTaskGroup {
  int id = 0;                ///< on the host; as read from a slave's JSON: on the slave
  int idOnRecServer = 0;     ///< on the slave
  int ownerZrId = 0;         ///< the slave
  std::list<int> widgetIds;  ///< on the host; as read from a slave's JSON: on the slave
  std::string name;
  Json::Value others;  ///< reported members that have no field here, an object; kept as they are

  /// Reads {"id":4,"name":"Both doors","widget_ids":[3,5]}. Empty when the JSON is no object, has no id, or a member
  /// has an impossible type.
  static Optional<CountingTaskGroup> CreateCountingTaskGroupFromJson(const Json::Value& json);
};

/// Stores groups. A widget that is deleted leaves its groups.
class ICountingTaskGroupStorage {
 public:
  virtual ~ICountingTaskGroupStorage() = default;
  /// The group with this id on the slave; empty when there is none or it cannot be read.
  virtual Optional<CountingTaskGroup> LoadByIdOnRecServer(int idOnRecServer, int ownerZrId) const = 0;
  /// Writes what differs of the group that its id names, or a new one when that is 0.
  /// @return the group's host id; empty on failure
  virtual Optional<int> Save(const CountingTaskGroup& group) const = 0;
  /// The slave's groups in order of their host ids; empty when they cannot be read.
  virtual Optional<std::vector<CountingTaskGroup>> LoadByOwnerZrId(int ownerZrId) const = 0;
  /// @return 0 when the group is deleted or was not there, -1 on failure
  virtual int DeleteById(int id) const = 0;

 protected:
  ICountingTaskGroupStorage() = default;
  ICountingTaskGroupStorage(const ICountingTaskGroupStorage&) = default;
  ICountingTaskGroupStorage& operator=(const ICountingTaskGroupStorage&) = default;
};

class TaviCountingTaskGroup {
 public:
  class Storage : public ICountingTaskGroupStorage {
   public:
    Optional<CountingTaskGroup> LoadByIdOnRecServer(int idOnRecServer, int ownerZrId) const override;
    Optional<int> Save(const CountingTaskGroup& group) const override;
    Optional<std::vector<CountingTaskGroup>> LoadByOwnerZrId(int ownerZrId) const override;
    int DeleteById(int id) const override;
  };
};

}  // namespace QvObjectCounting
