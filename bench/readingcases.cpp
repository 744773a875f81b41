#include <json/reader.h>

#include <memory>
#include <stdexcept>

#include "cases.h"
#include "comparison.h"
#include "documents.h"
#include "json/document.h"

namespace bench {

void RegisterReadingCases() {
  for (const int count : {100, 1'000}) {
    Compare("reading a document, " + std::to_string(count) + " entries", 9, [=] {
      const auto document = std::make_shared<Document>(Snapshot(count, 0));
      const auto value = std::make_shared<Json::Value>();
      const auto check = [=] {
        if (*value != document->value) throw std::logic_error("another value was read");
      };
      const auto blank = [=] { *value = Json::Value(); };
      Comparison comparison;
      comparison.contenders = {
          {"library", blank, [=] { *value = qv::json::ReadDocument(document->text, {}); }, check},
          {"jsoncpp", blank,
           [=] {
             const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
             const char* const text = document->text.data();
             reader->parse(text, text + document->text.size(), value.get(), nullptr);
           },
           check}};
      comparison.goals = {{1, 1.0}};
      comparison.rounds = 20'000 / count;
      return comparison;
    });
  }
}

}  // namespace bench
