#include "qvfile.h"

#include <sys/stat.h>

bool IsFileExist(const std::string& path, bool isFolder) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && (S_ISDIR(status.st_mode) != 0) == isFolder;
}
