#include "exitcodes.h"

#include <algorithm>
#include <iterator>

namespace qvcms {
namespace {

/// What the command line makes of a refusal. In the texts, ZR and DOC stand for the arguments.
struct Answer {
  qv::RefusalCode code;
  ExitCode status;
  const char* before = "";
  const char* after = "";
};

constexpr Answer kAnswers[] = {
    {qv::RefusalCode::BadArgument, kUsage},
    {qv::RefusalCode::UnreadableDocument, kBadDocument, "DOC: "},
    {qv::RefusalCode::DocumentTooDeep, kBadDocument, "DOC: ", "; --max-depth allows up to 1000"},
    {qv::RefusalCode::DocumentTooLarge, kBadDocument, "DOC: ", "; --max-size allows more"},
    {qv::RefusalCode::TooManyValues, kBadDocument, "DOC: ", "; --max-values allows more"},
    {qv::RefusalCode::WrongDocumentKind, kBadDocument, "DOC: ", ". If that is meant: qvcms OTHER ZR DOC"},
    {qv::RefusalCode::EmptyDocument, kBadDocument, "DOC: "},
    {qv::RefusalCode::WrongType, kBadDocument, "DOC: "},
    {qv::RefusalCode::TooManyRemovals, kFailed, "refused: ", ". If they are really gone, give --allow-removals"},
    {qv::RefusalCode::UnknownServer, kFailed, "", ": pair it first (qvcms pair ZR DOC)"},
    {qv::RefusalCode::UnknownDevice, kFailed},
    {qv::RefusalCode::NotRemoved, kFailed},
    {qv::RefusalCode::NotAHost, kFailed},
    {qv::RefusalCode::Busy, kFailed},
    {qv::RefusalCode::Unusable, kFailed},
    {qv::RefusalCode::Failed, kFailed},
};

const Answer& AnswerTo(qv::RefusalCode code) {
  const auto* const found = std::find_if(std::begin(kAnswers), std::end(kAnswers),
                                         [code](const Answer& answer) { return answer.code == code; });
  return found == std::end(kAnswers) ? *std::prev(found) : *found;
}

/// What was given as ZR and DOC.
struct Arguments {
  int zr = 0;
  std::string document;
  std::string other;  ///< the command for documents of the other kind
};

Arguments ArgumentsOf(const Command& command) {
  Arguments arguments;
  std::visit(
      [&](const auto& options) {
        if constexpr (requires { options.import; }) {
          arguments = {options.import.zr, options.import.document, "status"};
        } else if constexpr (requires { options.document; }) {
          arguments = {options.zr, options.document, "update"};
        }
      },
      command);
  return arguments;
}

void Replace(std::string& text, const std::string& word, const std::string& value) {
  if (const std::size_t place = text.find(word); place != std::string::npos) text.replace(place, word.size(), value);
}

}  // namespace

ExitCode ExitCodeOf(qv::RefusalCode code) { return AnswerTo(code).status; }

std::string Explain(const qv::Refusal& refusal, const Command& command) {
  const Answer& answer = AnswerTo(refusal.code());
  const Arguments arguments = ArgumentsOf(command);
  std::string document = arguments.document == "-" ? "standard input" : arguments.document;
  if (refusal.line() > 0) document += ':' + std::to_string(refusal.line()) + ':' + std::to_string(refusal.column());
  std::string before = answer.before;
  Replace(before, "DOC", document);
  std::string after = answer.after;
  Replace(after, "ZR", std::to_string(arguments.zr));
  if (answer.code == qv::RefusalCode::WrongDocumentKind) {
    Replace(after, "OTHER", arguments.other);
    Replace(after, "DOC", arguments.document);
  }
  return before + refusal.what() + after;
}

}  // namespace qvcms
