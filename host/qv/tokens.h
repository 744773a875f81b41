/// The tokens by which clients of a network service show what they may do. They are kept in a file of the data folder,
/// `tokens.json` (mode 0600), which holds a hash of each token and never the token itself.
///
/// Functions that change the file wait for one another, also across processes.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host.h"

namespace qv {

/// What a client may do.
struct QV_HOST_API Scope {
  std::set<int> slaves;  ///< send documents of these slaves
  bool read = false;     ///< see everything that the host lists
  bool operate = false;  ///< send documents of any slave, remove slaves, mark devices as being configured
  bool metrics = false;  ///< see the metrics

  /// Everything.
  static Scope All() { return {.slaves = {}, .read = true, .operate = true, .metrics = true}; }
  /// Reads words: "slave:7", "read", "operate", "metrics". Throws `Refusal` (BadArgument) for others and for none.
  static Scope Of(std::span<const std::string> words);
  std::vector<std::string> Words() const;
};

/// A token without its secret.
struct TokenInfo {
  std::string id;
  Scope scope;
  std::string note;  ///< for people
  std::string made;  ///< when, in UTC: "2030-01-31T12:00:00Z"
};

/// The tokens of a host, as they were when this was made.
class QV_HOST_API Tokens {
 public:
  static constexpr const char* kFile = "tokens.json";  ///< in the data folder

  /// Reads the file; no tokens if there is none. Throws `Refusal` (Unusable) when it cannot be read.
  explicit Tokens(std::filesystem::path data_folder);

  /// Whether the file is there, so that clients need tokens, even if all were revoked.
  bool are_wanted() const { return are_wanted_; }
  const std::vector<TokenInfo>& all() const { return infos_; }
  /// The token that a client shows; null if it is none of these. Takes equally long wherever the texts differ.
  const TokenInfo* Find(std::string_view token) const;

  /// Makes a token. @return the text that its bearer shows; it cannot be had again. Throws `Refusal` (Unusable).
  std::string Make(const Scope& scope, const std::string& note);
  /// @return false: there is no such token. Throws `Refusal` (Unusable).
  bool Revoke(std::string_view id);

 private:
  void Read();
  void Write() const;

  std::filesystem::path data_folder_;
  bool are_wanted_ = false;
  std::vector<TokenInfo> infos_;
  std::vector<std::string> hashes_;  ///< of the token at the same place, in hexadecimal digits
};

}  // namespace qv
