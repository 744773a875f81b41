/// The rows of the host, page by page.

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "guard.h"
#include "json/storable.h"
#include "kinds.h"
#include "messages/outbox.h"

namespace qv {
namespace {

using record::Where;

constexpr std::int64_t kWell = 1;  ///< state of a device, as servers number it

/// Every column of the kind that a listing shows.
std::vector<std::string_view> AllColumns(const host::Kind& kind) {
  std::vector<std::string_view> columns;
  for (const record::Field& field : kind.table->fields()) {
    if (IsListed(field.info.role)) columns.emplace_back(field.info.column);
  }
  for (const std::string_view column : kind.columns) {  // what a kind tells of other tables' rows is no field
    if (std::find(columns.begin(), columns.end(), column) == columns.end()) columns.emplace_back(column);
  }
  return columns;
}

const host::Kind& KindNamed(std::string_view name) {
  if (const host::Kind* kind = host::FindKind(name)) return *kind;
  throw Refusal(RefusalCode::BadArgument, "there is no kind \"" + std::string(name) + '"');
}

/// Leaves only the names of members that a server reported without the host knowing them: their values may be secrets.
void HideExtraValues(const host::Kind& kind, std::vector<Row>& rows) {
  for (const record::Field& field : kind.table->fields()) {
    if (field.info.role != FieldRole::Extra) continue;
    for (Row& row : rows) {
      for (auto& [name, value] : row) {
        if (name != field.info.column || !value.isObject()) continue;
        Json::Value names(Json::arrayValue);
        for (const std::string& member : value.getMemberNames()) names.append(member);
        value = std::move(names);
      }
    }
  }
}

/// Throws `Refusal` (BadArgument) for a text that no column can hold.
void CheckText(const std::string& text) {
  if (const char* const reason = json::WhyNotStorableText(text)) {
    throw Refusal(RefusalCode::BadArgument, std::string("no row has the text that is looked for: ") + reason);
  }
}

/// Adds the condition that a column has a value. Throws `Refusal` (BadArgument). Hidden columns take no part: whether
/// there is a row would tell what they hold.
void RequireValue(const host::Kind& kind, const std::string& column, const std::string& value, Where& where) {
  using record::ValueType;
  for (const record::Field& field : kind.table->fields()) {
    if (field.info.column != column || !IsListed(field.info.role)) continue;
    if (field.type == ValueType::Text) {
      CheckText(value);
      where.Is(field.info.column, std::string_view(value));
      return;
    }
    if (field.type != ValueType::Int && field.type != ValueType::Bool) break;
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size()) {
      throw Refusal(RefusalCode::BadArgument, column + ": a whole number is expected");
    }
    where.Is(field.info.column, number);
    return;
  }
  throw Refusal(RefusalCode::BadArgument,
                std::string(kind.name) + " has no column \"" + column + "\" that rows can be chosen by");
}

/// Adds the condition that people would find the device by the text. Throws `Refusal` (BadArgument).
void RequireText(const host::Kind& kind, const std::string& text, Where& where) {
  constexpr std::array<std::string_view, 7> kKnownBy = {"name",        "vendor",   "model",        "host",
                                                        "mac_address", "mac_addr", "serial_number"};
  std::vector<std::string_view> columns;
  for (const record::Field& field : kind.table->fields()) {
    if (field.type != record::ValueType::Text || !IsListed(field.info.role)) continue;
    if (std::find(kKnownBy.begin(), kKnownBy.end(), field.info.column) != kKnownBy.end()) {
      columns.emplace_back(field.info.column);
    }
  }
  if (columns.empty()) {
    throw Refusal(RefusalCode::BadArgument, std::string(kind.name) + " has no column that a text is searched in");
  }
  CheckText(text);
  where.Contains(columns, text);
}

Where RowsOf(const ListQuery& query) {
  const host::Kind& kind = KindNamed(query.kind);
  Where where = query.zr ? host::RowsOf(kind, *query.zr) : Where();
  for (const auto& [column, value] : query.equal) RequireValue(kind, column, value, where);
  if (!query.search.empty()) RequireText(kind, query.search, where);
  if (query.not_well) {
    const char* const status = host::StatusColumn(kind);
    if (status == nullptr) throw Refusal(RefusalCode::BadArgument, "servers report no state of " + query.kind);
    where.IsNot(status, kWell);
  }
  return where;
}

/// Whether there is nothing to list because there is no host. Throws `Refusal` for a query that is wrong anyhow.
bool IsEmpty(const ListQuery& query, bool has_data) {
  RowsOf(query);
  if (query.limit == 0) throw Refusal(RefusalCode::BadArgument, "a page has one row or more");
  return !has_data;
}

/// Reads the rows that a query means. All pages show the state of the database when the first one was read.
class Pages {
 public:
  explicit Pages(const ListQuery& query)
      : kind_(KindNamed(query.kind)),
        limit_(std::min<std::size_t>(query.limit, std::numeric_limits<int>::max())),
        with_extra_values_(query.extra_values),
        where_(RowsOf(query)),
        last_(query.after) {}

  /// The next page; empty at the end.
  std::vector<Row> Next() {
    const std::int64_t first = last_;
    FindLast();
    if (last_ == first) return {};
    std::vector<Row> rows = kind_.table->List(Where(where_).Above("id", first).UpTo("id", last_));
    if (!with_extra_values_) HideExtraValues(kind_, rows);
    return rows;
  }
  bool HasMore() const { return has_more_; }
  std::int64_t last() const { return last_; }

 private:
  /// Finds the last id of the next page, and whether there are more.
  void FindLast() {
    const Where where = Where(where_).Above("id", last_);
    db::Query ids = db::ThisThread().Prepare("SELECT id FROM " + kind_.table->name() + where.Sql() +
                                             " ORDER BY id LIMIT " + std::to_string(limit_ + 1));
    where.Bind(ids);
    for (std::size_t i = 0; i < limit_ && ids.Next(); ++i) last_ = ids.Row().Int(0);
    has_more_ = ids.Next();
  }

  const db::Snapshot one_state_;
  const host::Kind& kind_;
  const std::size_t limit_;
  const bool with_extra_values_;
  const Where where_;
  std::int64_t last_;
  bool has_more_ = false;
};

}  // namespace

std::span<const KindInfo> Host::Kinds() {
  static const std::vector<KindInfo> infos = [] {
    std::vector<KindInfo> all;
    for (const host::Kind& kind : host::AllKinds()) {
      all.push_back({kind.name, kind.columns, AllColumns(kind), host::StatusColumn(kind) != nullptr});
    }
    return all;
  }();
  return infos;
}

Page Host::List(const ListQuery& query) const {
  return host::Guarded([&] {
    if (IsEmpty(query, has_data_)) return Page();
    Pages pages(query);
    Page page{.rows = pages.Next(), .after = std::nullopt};
    if (pages.HasMore()) page.after = pages.last();
    return page;
  });
}

void Host::ForEachPage(const ListQuery& query, const std::function<bool(const std::vector<Row>&)>& take) const {
  host::Guarded([&] {
    if (IsEmpty(query, has_data_)) return;
    Pages pages(query);
    for (std::vector<Row> rows = pages.Next(); !rows.empty(); rows = pages.Next()) {
      if (!take(rows)) return;
    }
  });
}

std::vector<Row> Host::Servers() const {
  std::vector<Row> servers;
  ForEachPage({.kind = "server", .limit = 1000}, [&](const std::vector<Row>& rows) {
    servers.insert(servers.end(), rows.begin(), rows.end());
    return true;
  });
  return servers;
}

}  // namespace qv
