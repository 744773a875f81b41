/// The rows of counting widgets and groups that the entries of one document have taken. Of two entries with one id,
/// each takes a row of its own: the document applied again finds both as they are.
#pragma once

#include <map>
#include <set>
#include <utility>

#include "record/table.h"

namespace qv::analytics {

/// While one of these lives, its thread applies one document. Without one, no row is ever taken.
class TakenRows {
 public:
  TakenRows();
  ~TakenRows();
  TakenRows(const TakenRows&) = delete;
  TakenRows& operator=(const TakenRows&) = delete;

  static bool Has(const record::AnyTable& table, int id);
  static void Add(const record::AnyTable& table, int id);
  /// Notes the row of a widget. @return the row of the document's first entry with that id on the slave
  static int FirstRowOfWidget(int id_on_slave, int row);

 private:
  TakenRows* outer_;               ///< of the same thread
  std::map<int, int> first_rows_;  ///< of widgets, by their ids on the slave
  std::set<std::pair<const record::AnyTable*, int>> rows_;
};

}  // namespace qv::analytics
