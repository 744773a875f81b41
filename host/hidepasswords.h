/// For programs whose command line may hold a password.
#pragma once

#include <cstring>
#include <string_view>

namespace qv {

/// Overwrites what the list of processes shows of options whose values may hold a password: the URI of a database
/// (`--database`, `--from-database`) and that of a receiver (`--deliver`, `--publish-state`). Call it once the options
/// are read.
inline void HidePasswords(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const std::size_t name = argument.find('=');
    const std::string_view option = argument.substr(0, name);
    const bool is_receiver = option == "--deliver" || option == "--publish-state";
    if (!is_receiver && (!option.starts_with("--") || !option.ends_with("database"))) continue;
    const bool is_next = name == std::string_view::npos;
    if (is_next && i + 1 == argc) continue;
    char* const value = is_next ? argv[i + 1] : argv[i] + name + 1;
    std::memset(value, 'x', std::strlen(value));
  }
}

}  // namespace qv
