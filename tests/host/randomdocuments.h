/// Documents made from the examples: entries are missing or there twice, values are others, members are gone.
#pragma once

#include <json/reader.h>
#include <json/writer.h>

#include <random>
#include <sstream>

#include "support/hoststate.h"

namespace support {

class RandomDocuments {
 public:
  explicit RandomDocuments(unsigned seed) : random_(seed) {}

  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  /// @param faults  how many values are replaced by ones that may have the wrong type
  std::string Snapshot(unsigned faults) {
    static const Json::Value kExamples[] = {Example("pair"), Example("snapshot-1"), Example("snapshot-2")};
    return Changed(kExamples[Below(3)], faults);
  }
  std::string Status(unsigned faults, const char* serial_number = nullptr) {
    static const Json::Value kExample = Example("status");
    Json::Value example = kExample;
    if (serial_number != nullptr) example["serial_num"] = serial_number;
    return Changed(example, faults);
  }

 private:
  static Json::Value Read(const std::string& text) {
    std::istringstream stream(text);
    Json::Value value;
    stream >> value;
    return value;
  }
  static Json::Value Example(const std::string& name) {
    return Read(ReadWholeFile(QV_EXAMPLES "/slave7-" + name + ".json"));
  }

  std::string Changed(Json::Value document, unsigned faults) {
    static const Json::Value kValues =
        Read(R"([null, true, 0, 7, -1, 0.1, 16777217, 4294967297, 1e300, "5", "Größe '\"\\", "", [true], {"a":[5]}])");
    for (const std::string& section : document.getMemberNames()) {
      if (Below(6) == 0 && section != "serial_num" && section != "status") {
        document.removeMember(section);
      } else if (document[section].isArray()) {
        ChangeEntries(document[section]);
      }
    }
    for (unsigned i = 0; i < faults; ++i) *Somewhere(document) = kValues[Below(kValues.size())];
    Json::StreamWriterBuilder builder;
    return Json::writeString(builder, document);
  }
  void ChangeEntries(Json::Value& entries) {
    Json::Value left(Json::arrayValue);
    for (Json::Value& entry : entries) {
      if (Below(5) == 0) continue;
      if (entry.isMember("name") && Below(3) == 0) entry["name"] = "renamed " + std::to_string(Below(1000));
      if (entry.isMember("status") && Below(3) == 0) entry["status"] = Below(4);
      left.append(entry);
      if (Below(30) == 0) left.append(entry);
    }
    entries = left;
  }
  Json::Value* Somewhere(Json::Value& document) {
    Json::Value* at = &document;
    while (!at->empty() && Below(20) != 0) {
      if (at->isArray()) {
        at = &(*at)[Below(at->size())];
      } else if (at->isObject()) {
        const auto names = at->getMemberNames();
        at = &(*at)[names[Below(static_cast<unsigned>(names.size()))]];
      } else {
        break;
      }
    }
    return at;
  }

  std::mt19937 random_;
};

}  // namespace support
