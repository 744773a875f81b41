/// Preloaded into a program under test: counts the calls that change files, ends the program with SIGKILL in front of
/// the one it is told to, and keeps what has reached the disk for sure.
///
///     QV_CRASH_AT=N        the number of the call that is not made any more, from 1
///     QV_CRASH_COUNT=FILE  where to write how many calls there were, when the program ends by itself
///     QV_CRASH_SYNCED=DIR  after every successful sync the file's content is copied to DIR, see syncedname.h
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "syncedname.h"

namespace {

template <class Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::atomic<long> calls{0};

long NumberFrom(const char* variable) {
  const char* text = getenv(variable);
  return text == nullptr ? 0 : atol(text);
}

/// One more call is about to be made.
void Arrive() {
  static const long last = NumberFrom("QV_CRASH_AT");
  if (++calls == last) kill(getpid(), SIGKILL);
}

std::vector<char> ContentOf(int file, off_t size) {
  std::vector<char> content(static_cast<std::size_t>(size));
  // Not through a descriptor of its own where it can be helped: closing that would end the locks on the file.
  ssize_t count = pread(file, content.data(), content.size(), 0);
  if (count < 0 && errno == EBADF) {
    const int readable = open(("/proc/self/fd/" + std::to_string(file)).c_str(), O_RDONLY | O_CLOEXEC);
    count = pread(readable, content.data(), content.size(), 0);
    close(readable);
  }
  content.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return content;
}

void KeepSynced(int file) {
  static const char* const folder = getenv("QV_CRASH_SYNCED");
  struct stat status {};
  if (folder == nullptr || fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return;
  const std::vector<char> content = ContentOf(file, status.st_size);
  static const auto real_write = Real<ssize_t(int, const void*, size_t)>("write");
  static const auto real_rename = Real<int(const char*, const char*)>("rename");
  const std::string place = std::string(folder) + "/" + SyncedName(file);
  const int copy = open((place + ".new").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const bool whole = real_write(copy, content.data(), content.size()) == static_cast<ssize_t>(content.size());
  close(copy);
  if (!whole || real_rename((place + ".new").c_str(), place.c_str()) != 0) abort();
}

struct CountAtEnd {
  ~CountAtEnd() {
    FILE* file = getenv("QV_CRASH_COUNT") == nullptr ? nullptr : fopen(getenv("QV_CRASH_COUNT"), "w");
    if (file == nullptr) return;
    fprintf(file, "%ld\n", calls.load());
    fclose(file);
  }
} count_at_end;

}  // namespace

#define COUNTED(RESULT, NAME, PARAMETERS, ARGUMENTS)         \
  extern "C" RESULT NAME PARAMETERS {                        \
    static const auto real = Real<RESULT PARAMETERS>(#NAME); \
    Arrive();                                                \
    return real ARGUMENTS;                                   \
  }

COUNTED(ssize_t, write, (int file, const void* data, size_t size), (file, data, size))
COUNTED(ssize_t, pwrite, (int file, const void* data, size_t size, off_t at), (file, data, size, at))
COUNTED(ssize_t, pwrite64, (int file, const void* data, size_t size, off64_t at), (file, data, size, at))
COUNTED(int, ftruncate, (int file, off_t size) noexcept, (file, size))
COUNTED(int, ftruncate64, (int file, off64_t size) noexcept, (file, size))
COUNTED(int, unlink, (const char* path) noexcept, (path))
COUNTED(int, unlinkat, (int folder, const char* name, int flags) noexcept, (folder, name, flags))
COUNTED(int, rename, (const char* from, const char* to) noexcept, (from, to))
COUNTED(int, renameat, (int from, const char* name, int to, const char* target) noexcept, (from, name, to, target))
COUNTED(int, mkdirat, (int folder, const char* name, mode_t mode) noexcept, (folder, name, mode))

#define SYNCING(NAME)                               \
  extern "C" int NAME(int file) {                   \
    static const auto real = Real<int(int)>(#NAME); \
    Arrive();                                       \
    const int result = real(file);                  \
    if (result == 0) KeepSynced(file);              \
    return result;                                  \
  }

SYNCING(fsync)
SYNCING(fdatasync)
