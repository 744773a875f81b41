/// token: who may use the service.

#include <qv/tokens.h>

#include "commands.h"
#include "exitcodes.h"
#include "openhost.h"
#include "output.h"

namespace qvcms {
namespace {

qv::Row RowOf(const qv::TokenInfo& token) {
  std::string scope;
  for (const std::string& word : token.scope.Words()) scope += (scope.empty() ? "" : " ") + word;
  return {{"id", token.id}, {"scope", scope}, {"made", token.made}, {"note", token.note}};
}

}  // namespace

int Run(const GlobalOptions& global, const TokenMakeOptions& options) {
  const qv::Scope scope = qv::Scope::Of(options.scope);
  const OpenHost host(HostToFill(global));  // makes the data folder
  const std::string token = qv::Tokens(global.data_dir).Make(scope, options.note);
  Print(token + '\n');
  return kDone;
}

int Run(const GlobalOptions& global, const TokenListOptions&) {
  std::vector<qv::Row> rows;
  const qv::Tokens tokens(global.data_dir);
  for (const qv::TokenInfo& token : tokens.all()) rows.push_back(RowOf(token));
  Print(FormatRows(global.format, {"id", "scope", "made", "note"}, rows, true));
  return kDone;
}

int Run(const GlobalOptions& global, const TokenRevokeOptions& options) {
  if (qv::Tokens(global.data_dir).Revoke(options.id)) return kDone;
  throw Failure("there is no token with the id " + options.id);
}

}  // namespace qvcms
