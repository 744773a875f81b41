/// Capability files: what a camera model can do, one JSON file per model, below the capability folder of the host.
///
/// A file's path in that folder is `<server id>/<vendor>/<model>.cap`, or any deeper path that begins with the id of
/// the server that told of it. A slave sends its paths with the id that it has itself: rewrite a path with
/// `ReplaceZrIdInCapFilePath`, then write the file with `CreateCapFileByJsonInterface`. Files are written as part of
/// the caller's unit of work; no name leads out of the folder, whoever chose it.
#pragma once

#include <json/value.h>

#include <string>

/// Makes sure that the capability folder is there, or, within a unit of work, that its commit can make it: a unit
/// that is taken back leaves no folder behind.
/// @param path  receives the folder's path
/// @return 0 on success, -1 when it cannot be made or something else has its name
int CheckAndMakeCapDir(std::string& path);

/// Whether cameras of this model speak the package's integration API, which a model's name tells by the ending
/// "-API". Their capability files come with the API and are the same for all servers, so their paths name none.
/// @return non-zero when they do
int IsInteSupApi(const std::string& model);

/// Puts `zrId` in place of the server id, the first name of `path`, which then has neither empty names nor ".".
/// @return 0 on success; -1, with `path` as it was, when it does not begin with a number and a "/", when it would
/// leave the capability folder (absolute, "..", a NUL, a link on the way), or cannot be a file
int ReplaceZrIdInCapFilePath(std::string& path, int zrId);

/// Writes a capability file, unless it holds just that already, and records it in the table `capability_file`.
/// @return 0 on success; -1, after one log line, when the path is refused or the file cannot be written
int CreateCapFileByJsonInterface(const std::string& fileName, const std::string& vendor, const std::string& model,
                                 Json::Value cap);
