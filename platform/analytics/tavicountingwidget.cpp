#include "tavicountingwidget.h"

#include "tables.h"
#include "takenrows.h"

template <>
const char DBWrapper<TAVI_COUNTING_WIDGET_DB_COLUMN>::m_szTableName[] = "counting_widget";

namespace qv::analytics {

const ColumnTable& CountingWidgetTable() {
  static const ColumnTable table(TaviCountingWidget::m_szTableName,
                                 DBColumnMembers<TAVI_COUNTING_WIDGET_DB_COLUMN>::kColumns, {"precedence"});
  return table;
}

}  // namespace qv::analytics

using namespace qv::analytics;  // NOLINT(google-build-using-namespace): what follows is the package's interface

bool TaviCountingWidget::IsStorable() const { return Data().iva_setting_id.Get() != 0; }

int TaviCountingWidget::LoadByIdOnRecServerAndTaskId(int idOnRecServer, int taskId) {
  return CountingWidgetTable().Load(
      Criteria().Is("id_on_rec_server", idOnRecServer).Is("iva_setting_id", taskId), *this,
      [](const TaviCountingWidget& widget) { return !TakenRows::Has(CountingWidgetTable(), widget.GetId()); });
}

Optional<std::vector<TaviCountingWidget>> TaviCountingWidget::Enum(const TaviCountingWidgetFilterRule& rule) {
  std::vector<TaviCountingWidget> widgets;
  const int status = CountingWidgetTable().Select(Criteria()
                                                      .In("id", rule.ids)
                                                      .In("iva_setting_id", rule.taskIds)
                                                      .Is("id_on_rec_server", rule.idOnRecServer)
                                                      .Is("type", rule.type),
                                                  widgets);
  if (status != 0) return {};
  return widgets;
}
