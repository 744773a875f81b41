#include "qv/tokens.h"

#include <fcntl.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>
#include <qvjson.h>
#include <sys/file.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <utility>

#include "files/descriptor.h"
#include "files/folder.h"
#include "json/document.h"

namespace qv {
namespace {

constexpr std::string_view kPrefix = "qvt_";
constexpr std::string_view kSlave = "slave:";
constexpr std::size_t kSecretBytes = 32;
constexpr std::size_t kIdDigits = 8;

Refusal Unusable(const std::string& reason) {
  return {RefusalCode::Unusable, std::string(Tokens::kFile) + ": " + reason};
}

std::string HexOf(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

std::string HashOf(std::string_view token) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, token.size(), reinterpret_cast<const std::uint8_t*>(token.data()));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  return HexOf(digest);
}

/// "qvt_ID_SECRET".
std::string RandomToken() {
  std::array<std::uint8_t, kIdDigits / 2 + kSecretBytes> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw Unusable("the system has no random numbers");
  }
  const std::string digits = HexOf(bytes);
  return std::string(kPrefix) + digits.substr(0, kIdDigits) + '_' + digits.substr(kIdDigits);
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

/// Keeps other writers out while it lives.
files::FileDescriptor LockFolder(const std::filesystem::path& folder) {
  files::FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor || flock(descriptor.get(), LOCK_EX) != 0) throw Unusable("the data folder cannot be locked");
  return descriptor;
}

std::optional<int> SlaveOf(std::string_view word) {
  if (!word.starts_with(kSlave)) return std::nullopt;
  word.remove_prefix(kSlave.size());
  int zr = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), zr);
  if (error != std::errc() || end != word.data() + word.size() || zr < 1) return std::nullopt;
  return zr;
}

}  // namespace

Scope Scope::Of(std::span<const std::string> words) {
  if (words.empty()) throw Refusal(RefusalCode::BadArgument, "a scope is missing");
  Scope scope;
  for (const std::string& word : words) {
    if (word == "read") {
      scope.read = true;
    } else if (word == "operate") {
      scope.operate = true;
    } else if (word == "metrics") {
      scope.metrics = true;
    } else if (const auto zr = SlaveOf(word)) {
      scope.slaves.insert(*zr);
    } else {
      throw Refusal(RefusalCode::BadArgument,
                    "there is no scope \"" + word + "\"; scopes are slave:ZR, read, operate, metrics");
    }
  }
  return scope;
}

std::vector<std::string> Scope::Words() const {
  std::vector<std::string> words;
  for (const int zr : slaves) words.push_back(std::string(kSlave) + std::to_string(zr));
  if (read) words.emplace_back("read");
  if (operate) words.emplace_back("operate");
  if (metrics) words.emplace_back("metrics");
  return words;
}

Tokens::Tokens(std::filesystem::path data_folder) : data_folder_(std::move(data_folder)) { Read(); }

void Tokens::Read() try {
  infos_.clear();
  hashes_.clear();
  are_wanted_ = false;
  if (!std::filesystem::exists(data_folder_)) return;
  const std::optional<std::string> text = files::Folder(data_folder_, false).Read(kFile);
  if (!text) return;
  are_wanted_ = true;
  const Json::Value document = json::ReadDocument(*text, {});
  for (const Json::Value& token : document["tokens"]) {
    std::vector<std::string> words;
    for (const Json::Value& word : token["scope"]) words.push_back(word.asString());
    infos_.push_back({.id = token["id"].asString(),
                      .scope = Scope::Of(words),
                      .note = token["note"].asString(),
                      .made = token["made"].asString()});
    hashes_.push_back(token["hash"].asString());
    if (hashes_.back().size() != std::size_t{SHA256_DIGEST_SIZE} * 2) throw Unusable("a hash is damaged");
  }
} catch (const Refusal& refusal) {
  throw refusal.code() == RefusalCode::Unusable ? refusal : Unusable(refusal.what());
} catch (const Json::Exception& error) {
  throw Unusable(error.what());
} catch (const std::runtime_error& error) {
  throw Unusable(error.what());
}

void Tokens::Write() const try {
  Json::Value document(Json::objectValue);
  Json::Value& tokens = document["tokens"] = Json::Value(Json::arrayValue);
  for (std::size_t i = 0; i < infos_.size(); ++i) {
    Json::Value& token = tokens.append(Json::Value(Json::objectValue));
    token["id"] = infos_[i].id;
    token["note"] = infos_[i].note;
    token["made"] = infos_[i].made;
    token["hash"] = hashes_[i];
    for (const std::string& word : infos_[i].scope.Words()) token["scope"].append(word);
  }
  files::Folder folder(data_folder_, true);
  folder.Write(kFile, JsonWrite(document, false) + '\n');
  folder.Sync();
} catch (const std::runtime_error& error) {
  throw Unusable(error.what());
}

const TokenInfo* Tokens::Find(std::string_view token) const {
  const std::string hash = HashOf(token);
  const TokenInfo* found = nullptr;
  for (std::size_t i = 0; i < hashes_.size(); ++i) {
    if (nettle_memeql_sec(hash.data(), hashes_[i].data(), hash.size()) != 0) found = &infos_[i];
  }
  return found;
}

std::string Tokens::Make(const Scope& scope, const std::string& note) {
  const files::FileDescriptor lock = LockFolder(data_folder_);
  Read();
  std::string token = RandomToken();
  infos_.push_back({.id = token.substr(kPrefix.size(), kIdDigits), .scope = scope, .note = note, .made = Now()});
  hashes_.push_back(HashOf(token));
  Write();
  are_wanted_ = true;
  return token;
}

bool Tokens::Revoke(std::string_view id) {
  if (!std::filesystem::exists(data_folder_)) return false;
  const files::FileDescriptor lock = LockFolder(data_folder_);
  Read();
  const auto found = std::find_if(infos_.begin(), infos_.end(), [&](const TokenInfo& info) { return info.id == id; });
  if (found == infos_.end()) return false;
  hashes_.erase(hashes_.begin() + (found - infos_.begin()));
  infos_.erase(found);
  Write();
  return true;
}

}  // namespace qv
