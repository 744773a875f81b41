#include "output.h"

#include <qvjson.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "exitcodes.h"
#include "text/escape.h"

namespace qvcms {

namespace {

constexpr int kWidestCell = 40;

/// Columns of a terminal that well-formed `text` without control characters takes, or the bytes of it that fit into
/// `limit` of them.
struct Extent {
  std::size_t bytes = 0;
  int width = 0;
};

Extent Measure(std::string_view text, int limit) {
  Extent extent;
  std::mbstate_t state{};
  while (extent.bytes < text.size()) {
    wchar_t character = 0;
    const std::size_t used = std::mbrtowc(&character, text.data() + extent.bytes, text.size() - extent.bytes, &state);
    const bool known = used > 0 && used <= text.size();
    if (!known) state = {};
    const int width = known ? std::max(0, wcwidth(character)) : 1;
    if (extent.width + width > limit) break;
    extent.bytes += known ? used : 1;
    extent.width += width;
  }
  return extent;
}

struct Cell {
  std::string text;
  int width = 0;
  bool number = false;
  const char* color = nullptr;  ///< what makes a terminal change to it
};

/// The colour of a number of changes.
const char* ColorOf(const std::string& column, const Json::Value& value) {
  if (!value.isIntegral() || value.asInt64() == 0) return nullptr;
  if (column == "added") return "\033[32m";
  if (column == "updated") return "\033[33m";
  return column == "removed" ? "\033[31m" : nullptr;
}

Cell MakeCell(const Json::Value& value, bool wide) {
  Cell cell;
  cell.number = value.isNumeric();
  if (!value.isNull()) cell.text = qv::text::EscapeLine(value.isString() ? value.asString() : JsonWrite(value, true));
  const Extent whole = Measure(cell.text, INT_MAX);
  cell.width = whole.width;
  if (!wide && whole.width > kWidestCell) {
    const Extent part = Measure(cell.text, kWidestCell - 1);
    cell.text.resize(part.bytes);
    cell.text += "…";
    cell.width = part.width + 1;
  }
  return cell;
}

const Json::Value& ValueOf(const qv::Row& row, const std::string& column) {
  const auto member = std::find_if(row.begin(), row.end(), [&](const auto& entry) { return entry.first == column; });
  return member == row.end() ? Json::Value::nullSingleton() : member->second;
}

/// Appends a line of cells, padded to the widths of their columns; none at the end of the line. Columns of numbers are
/// aligned, with their names, at the right, the others at the left.
void AppendLine(std::string& text, const std::vector<Cell>& cells, const std::vector<int>& widths,
                const std::vector<bool>& numeric) {
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string padding(static_cast<std::size_t>(widths[column] - cells[column].width), ' ');
    if (column > 0) text += "  ";
    if (numeric[column]) text += padding;
    const char* const color = cells[column].color;
    text += color == nullptr ? cells[column].text : color + cells[column].text + "\033[0m";
    if (!numeric[column] && column + 1 < cells.size()) text += padding;
  }
  text.erase(text.find_last_not_of(' ') + 1);
  text += '\n';
}

std::string UnusedText(const std::vector<qv::Fault>& unused) {
  if (unused.empty()) return "";
  std::vector<qv::Row> rows;
  rows.reserve(unused.size());
  for (const auto& [place, reason] : unused) rows.push_back({{"place", place}, {"reason", reason}});
  const bool one = unused.size() == 1;
  return '\n' + std::to_string(unused.size()) + (one ? " entry was" : " entries were") + " not used:\n" +
         FormatRows(Format::Table, {"place", "reason"}, rows, true);
}

/// @return 0 or the number of the error
int Write(std::string_view text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  return written ? 0 : errno;
}

}  // namespace

RowFormatter::RowFormatter(Format format, std::vector<std::string> columns, bool wide, bool colored)
    : format_(format), columns_(std::move(columns)), wide_(wide), colored_(colored), widths_(columns_.size(), 0) {}

std::string RowFormatter::Page(const std::vector<qv::Row>& rows) {
  if (format_ == Format::Json) return json_.Page(rows);
  std::string text = TablePage(rows);
  started_ = true;
  return text;
}

std::string RowFormatter::End() {
  if (format_ == Format::Json) return json_.End();
  return started_ ? "" : Page({});
}

std::string RowFormatter::TablePage(const std::vector<qv::Row>& rows) {
  std::vector<std::vector<Cell>> lines;
  for (const qv::Row& row : rows) {
    std::vector<Cell>& line = lines.emplace_back();
    for (const std::string& name : columns_) {
      const Json::Value& value = ValueOf(row, name);
      Cell& cell = line.emplace_back(MakeCell(value, wide_));
      if (colored_) cell.color = ColorOf(name, value);
    }
  }
  if (!started_) {
    for (std::size_t column = 0; column < columns_.size(); ++column) {
      numeric_.push_back(!rows.empty() && std::all_of(lines.begin(), lines.end(), [&](const std::vector<Cell>& line) {
        return line[column].number || line[column].text.empty();
      }));
    }
    std::vector<Cell>& header = *lines.emplace(lines.begin());
    for (const std::string& name : columns_) header.push_back(MakeCell(Json::Value(name), wide_));
  }
  std::string text;
  for (const std::vector<Cell>& line : lines) {
    for (std::size_t column = 0; column < widths_.size(); ++column) {
      widths_[column] = std::max(widths_[column], line[column].width);
    }
  }
  for (const std::vector<Cell>& line : lines) AppendLine(text, line, widths_, numeric_);
  return text;
}

std::string FormatRows(Format format, const std::vector<std::string>& columns, const std::vector<qv::Row>& rows,
                       bool wide) {
  RowFormatter formatter(format, columns, wide);
  std::string text = formatter.Page(rows);
  return text + formatter.End();
}

std::string FormatImport(Format format, const qv::ImportResult& result, bool colored) {
  if (format == Format::Json) return qv::ToJson(result);
  RowFormatter formatter(format, {"kind", "added", "updated", "removed", "unchanged"}, true, colored);
  const std::string text = formatter.Page(qv::RowsOf(result));
  return text + formatter.End() + UnusedText(result.unused);
}

std::string FormatStatus(Format format, const qv::StatusResult& result) {
  if (format == Format::Json) return qv::ToJson(result);
  std::vector<qv::Row> rows;
  for (const auto& [name, value] : result.record) rows.push_back({{"field", name}, {"value", value}});
  return FormatRows(format, {"field", "value"}, rows, true) + UnusedText(result.unused);
}

std::string FormatRemoval(Format format, int zr, const qv::RemoveResult& result) {
  if (format == Format::Json) return qv::ToJson(result);
  if (!result.was_held) return "nothing was held for server " + std::to_string(zr) + '\n';
  return FormatRows(format, {"kind", "removed", "updated"}, qv::RowsOf(result), true);
}

bool Print(std::string_view text) {
  const int error = Write(text);
  if (error != 0 && error != EPIPE) {
    throw Failure(std::string("cannot write the output: ") + std::strerror(error));
  }
  return error == 0;
}

void PrintApplied(std::string_view report) {
  if (const int error = Write(report); error != 0) {
    throw Failure(std::string("applied, but the report cannot be written: ") + std::strerror(error));
  }
}

bool IsColored(Color color) {
  if (color != Color::Auto) return color == Color::Always;
  const char* const no_color = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0');
}

void Complain(std::string_view text) {
  const std::string line = "qvcms: " + qv::text::EscapeLine(text) + '\n';
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));  // there is nowhere else to say it
}

}  // namespace qvcms
