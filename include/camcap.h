/// Capability files: what a camera model can do, one JSON file per model, below the capability folder of the host.
///
/// A file's path in that folder is `<server id>/<vendor>/<model>.cap`, or any deeper path that begins with the id of
/// the server that reports it. A slave sends paths with its own id: rewrite a path with `ReplaceZrIdInCapFilePath`,
/// then write the file with `CreateCapFileByJsonInterface`. Shared files belong to models for which `IsInteSupApi`
/// returns non-zero. Their paths are `<vendor>/<model>.cap`: they do not begin with a number, they end in ".cap", and
/// no folder in them does. No path leads out of the folder.
///
/// The content of a file is a row in the database, written in the caller's unit of work. The file is made after the
/// commit. A shared file has a row for each server that reports it; the unit of work names the server. The file has the
/// content that the first of them reported, and is deleted with the last row. A file that was reported outside a unit
/// of work has no owner until a server reports it.
///
/// If a document has several files with one path, the first is used and the others are ignored. So the same document
/// again writes nothing. `CheckAndMakeCapDir` begins a document.
///
/// A refused name is logged with the reason. It does not count as a failed operation of the unit of work: it is an
/// entry of the document that cannot be used.
///
/// Thread-safe.
#pragma once

#include <json/value.h>

#include <string>

/// Begins a document. Makes sure that the capability folder is there, or, within a unit of work, that its commit can
/// make it: a unit that is taken back leaves no folder behind.
/// @param path  receives the folder's path
/// @return 0 on success, -1 when it cannot be made or something else has its name
int CheckAndMakeCapDir(std::string& path);

/// Whether cameras of this model have the package's integration API: then the model's name ends in "-API". Their
/// capability files come with the API and are the same for all servers, so their paths contain no server.
/// @return non-zero when they do
int IsInteSupApi(const std::string& model);

/// Puts `zrId` in place of the server id, the first name of `path`, which then has neither empty names nor ".".
/// @return 0 on success; -1, with `path` as it was and after one log line that says why, if it does not begin with a
/// number and a "/", would leave the capability folder (absolute, "..", a NUL), or cannot be a file
int ReplaceZrIdInCapFilePath(std::string& path, int zrId);

/// Keeps a capability file in the table `capability_file` and has the commit write it, unless it holds just that
/// already. A file that cannot be written then is logged, counts as a failed operation of the unit of work, and is
/// tried again by every later unit of work with capability files, and when the database is opened.
/// @return 0 on success; -1, after one log line that says why, if the path is refused or the row cannot be written
int CreateCapFileByJsonInterface(const std::string& fileName, const std::string& vendor, const std::string& model,
                                 Json::Value cap);
