#include "columns.h"

#include <algorithm>

namespace bench {
namespace {

template <class T>
Column MakeColumn(const FieldInfo& info) {
  constexpr bool kIsJson = std::is_same_v<T, JsonText>;
  return {info, kIsJson, kIsJson || std::is_same_v<T, std::string>};
}

}  // namespace

std::string Column::Key() const {
  switch (info.role) {
    case FieldRole::IdOnSlave:
      return "id";
    case FieldRole::Config:
    case FieldRole::Secret:
      return info.json_key != nullptr ? info.json_key : info.column;
    default:
      return "";
  }
}

const std::vector<Column>& CameraColumns() {
#define BENCH_COLUMN(DATA, TYPE, NAME, COLUMN, ROLE, ...) \
  MakeColumn<TYPE>(TaggedField<DATA::Fields, DATA::NAME>::kInfo),
  static const std::vector<Column> columns = [] {
    std::vector<Column> all = {CAMERA_FIELDS(BENCH_COLUMN)};
    std::erase_if(all, [](const Column& column) { return column.info.role == FieldRole::HostId; });
    return all;
  }();
#undef BENCH_COLUMN
  return columns;
}

const std::vector<Column>& ReportedCameraColumns() {
  static const std::vector<Column> columns = [] {
    std::vector<Column> reported = CameraColumns();
    std::erase_if(reported, [](const Column& column) { return column.Key().empty(); });
    std::sort(reported.begin(), reported.end(), [](const Column& a, const Column& b) { return a.Key() < b.Key(); });
    return reported;
  }();
  return columns;
}

std::string ColumnNames(const std::vector<Column>& columns, const std::string& prefix) {
  std::string names;
  for (const Column& column : columns) names += (names.empty() ? "" : ",") + prefix + column.info.column;
  return names;
}

}  // namespace bench
