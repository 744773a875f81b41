#include "capability/filenames.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <vector>

#include "files/folder.h"

namespace qv::capability {
namespace {

/// More folders than anyone nests; keeps a listing of all files from running out of descriptors.
constexpr std::size_t kMaxNames = 64;
/// Leaves room for the folder that the path is in.
constexpr std::size_t kMaxLength = PATH_MAX - 64;

constexpr std::string_view kEnding = ".cap";

[[noreturn]] void Refuse(const std::string& reason) { throw NameRefused(reason); }

bool IsNumber(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view FirstName(std::string_view path) { return path.substr(0, path.find('/')); }

std::vector<std::string_view> Split(std::string_view path) {
  std::vector<std::string_view> names;
  for (std::size_t slash = 0; slash != std::string_view::npos;) {
    slash = path.find('/');
    names.push_back(path.substr(0, slash));
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  }
  return names;
}

void CheckName(std::string_view name) {
  if (name == "..") Refuse("it has \"..\"");
  if (name == files::Folder::kUnfinished) Refuse("files that are being written are called \".new\"");
  if (name.size() > NAME_MAX) Refuse("it is too long");
}

/// The names of a path, without empty ones and ".".
std::vector<std::string_view> NamesOf(std::string_view path) {
  if (path.empty()) Refuse("it is empty");
  if (path.size() > kMaxLength) Refuse("it is too long");
  if (path.find('\0') != std::string_view::npos) Refuse("it has a NUL");
  if (path.front() == '/') Refuse("it is absolute");
  std::vector<std::string_view> names = Split(path);
  if (names.back().empty() || names.back() == ".") Refuse("it names a folder");
  std::erase_if(names, [](std::string_view name) { return name.empty() || name == "."; });
  if (names.size() > kMaxNames) Refuse("it is too long");
  for (const std::string_view name : names) CheckName(name);
  return names;
}

void CheckOwn(const std::vector<std::string_view>& names) {
  int server = 0;
  std::from_chars(names[0].data(), names[0].data() + names[0].size(), server);
  if (server < 1 || std::to_string(server) != names[0]) Refuse("it begins with a number that is no server's id");
  if (names.size() < 2) Refuse("it names the folder of a server");
}

void CheckShared(std::vector<std::string_view> names) {
  if (!names.back().ends_with(kEnding)) Refuse("that of a shared file must end in \".cap\"");
  names.pop_back();
  const auto has_ending = [](std::string_view name) { return name.ends_with(kEnding); };
  if (std::any_of(names.begin(), names.end(), has_ending)) Refuse("a folder of it ends in \".cap\"");
}

}  // namespace

std::string PathOf(std::string_view name) {
  const std::vector<std::string_view> names = NamesOf(name);
  IsNumber(names[0]) ? CheckOwn(names) : CheckShared(names);
  std::string path;
  for (const std::string_view each : names) path.append(path.empty() ? "" : "/").append(each);
  return path;
}

int ServerOf(std::string_view path) {
  const std::string_view name = FirstName(path);
  int server = 0;
  if (IsNumber(name)) std::from_chars(name.data(), name.data() + name.size(), server);
  return server;
}

std::string PathOnHost(std::string_view name, int server) {
  const std::string_view number = FirstName(name);
  if (!IsNumber(number)) Refuse("it does not begin with the id of a server");
  return PathOf(std::to_string(server).append(name.substr(number.size())));
}

}  // namespace qv::capability
