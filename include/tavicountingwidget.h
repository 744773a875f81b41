/// Counting widgets: the lines and areas of a people-counting task at which people are counted, as rows of
/// `counting_widget`. What a widget of either kind holds, and how it is written, is in qvobjectcounting.h.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "dbwrapper.h"
#include "qvoptional.h"

enum TAVI_COUNTING_WIDGET_TYPE : int {
  COUNTING_WIDGET_TYPE_REGION = 1,
  COUNTING_WIDGET_TYPE_FENCE = 2,
};

enum TAVI_COUNTING_WIDGET_DETECT_TYPE : int {
  COUNTING_WIDGET_DETECT_PEOPLE = 0,
  COUNTING_WIDGET_DETECT_VEHICLE = 1,
  COUNTING_WIDGET_DETECT_ALL = 2,
};

enum TAVI_COUNTING_WIDGET_CALCULATION_TYPE : int {
  COUNTING_WIDGET_CALCULATION_ENTER = 0,   ///< who came in
  COUNTING_WIDGET_CALCULATION_LEAVE = 1,   ///< who went out
  COUNTING_WIDGET_CALCULATION_INSIDE = 2,  ///< who came in less who went out
};

#define TAVI_COUNTING_WIDGET_COLUMNS(COLUMN)                                                                \
  COLUMN(COUNTING_WIDGET_ID, int, id, HostId)                                                               \
  COLUMN(COUNTING_WIDGET_IVA_SETTING_ID, int, iva_setting_id, Config, .references = "iva_task")             \
  COLUMN(COUNTING_WIDGET_ID_ON_REC_SERVER, int, id_on_rec_server, IdOnSlave)                                \
  COLUMN(COUNTING_WIDGET_NAME, std::string, name, Config)                                                   \
  COLUMN(COUNTING_WIDGET_TYPE, TAVI_COUNTING_WIDGET_TYPE, type, Config)                                     \
  COLUMN(COUNTING_WIDGET_DETECT_TYPE, TAVI_COUNTING_WIDGET_DETECT_TYPE, detect_type, Config)                \
  COLUMN(COUNTING_WIDGET_CALCULATION_TYPE, TAVI_COUNTING_WIDGET_CALCULATION_TYPE, calculation_type, Config) \
  COLUMN(COUNTING_WIDGET_OWNER_ZR_ID, int, owner_zr_id, Owner) /* that of the task */                       \
  COLUMN(COUNTING_WIDGET_CAPACITY, int, capacity, Config)      /* 0: no limit */                            \
  COLUMN(COUNTING_WIDGET_EXTRA, std::string, extra, Extra)

DB_DECLARE_COLUMNS(TAVI_COUNTING_WIDGET_DB_COLUMN, TAVI_COUNTING_WIDGET_COLUMNS)
static_assert(DBColumnsStand<TAVI_COUNTING_WIDGET_DB_COLUMN>(10, {3, 9}));

template <>
const char DBWrapper<TAVI_COUNTING_WIDGET_DB_COLUMN>::m_szTableName[];

/// Which widgets are meant; a criterion that is unset admits every row.
struct TaviCountingWidgetFilterRule {
  Optional<std::vector<int>> ids;
  Optional<std::vector<int>> taskIds;
  Optional<int> idOnRecServer;
  Optional<TAVI_COUNTING_WIDGET_TYPE> type;
};

class TaviCountingWidget : public DBWrapper<TAVI_COUNTING_WIDGET_DB_COLUMN> {
 public:
  bool IsStorable() const override;
  int GetId() const { return Data().id.Get(); }
  int GetIdOnRecServer() const { return Data().id_on_rec_server.Get(); }
  TAVI_COUNTING_WIDGET_TYPE GetType() const { return Data().type.Get(); }

  /// Loads the widget of one of the host's tasks by its id on the slave.
  /// @return 0 on success; -1 when there is none or it cannot be read
  int LoadByIdOnRecServerAndTaskId(int idOnRecServer, int taskId);
  /// The widgets in order of their host ids; empty when they cannot be read.
  static Optional<std::vector<TaviCountingWidget>> Enum(const TaviCountingWidgetFilterRule& rule);
};
