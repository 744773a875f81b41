#include "tavicountingwidget.h"

#include "analytics/tables.h"
#include "analytics/takenrows.h"
#include "record/attempt.h"

template <>
const char DBWrapper<TAVI_COUNTING_WIDGET_DB_COLUMN>::m_szTableName[] = "counting_widget";

namespace qv::analytics {

const record::Table<TaviCountingWidget>& CountingWidgetTable() {
  static const record::Table<TaviCountingWidget> table(TaviCountingWidget::m_szTableName,
                                                       {.hidden_columns = {"precedence"}});
  return table;
}

}  // namespace qv::analytics

using namespace qv;             // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::analytics;  // NOLINT(google-build-using-namespace)

bool TaviCountingWidget::IsStorable() const { return Data().iva_setting_id.Get() != 0; }

int TaviCountingWidget::LoadByIdOnRecServerAndTaskId(int idOnRecServer, int taskId) {
  TaviCountingWidgetFilterRule rule;
  rule.idOnRecServer = idOnRecServer;
  rule.taskIds = std::vector<int>{taskId};
  const Optional<std::vector<TaviCountingWidget>> widgets = Enum(rule);
  if (!widgets) return -1;
  for (const TaviCountingWidget& widget : widgets.Value()) {
    if (TakenRows::Has(CountingWidgetTable(), widget.GetId())) continue;
    *this = widget;
    return 0;
  }
  return -1;
}

Optional<std::vector<TaviCountingWidget>> TaviCountingWidget::Enum(const TaviCountingWidgetFilterRule& rule) {
  Optional<std::vector<TaviCountingWidget>> widgets;
  record::Attempt("Failed to list counting widgets", [&] {
    const std::list<TaviCountingWidget> rows =
        CountingWidgetTable().Select(record::Where()
                                         .In("id", rule.ids)
                                         .In("iva_setting_id", rule.taskIds)
                                         .Is("id_on_rec_server", rule.idOnRecServer)
                                         .Is("type", rule.type));
    widgets = std::vector<TaviCountingWidget>(rows.begin(), rows.end());
  });
  return widgets;
}
