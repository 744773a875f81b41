/// Makes the files in the capability folder agree with the rows of `capability_file`.
///
/// Rows are written in the transaction of the document that they come from. Files are made from them after the commit,
/// each for itself, while the writer lock is still held. Every transaction that changes rows gives the table a new
/// revision; `capability.stamp` in the data folder says which revision the files have reached, and which of them could
/// not be written. So a process that starts sees at a glance whether somebody was killed before the files were made,
/// whatever became known of that commit and when; then it compares all rows with all files.
#pragma once

#include <string>
#include <vector>

namespace qv::capability {

/// Below the data folder.
inline constexpr std::string_view kFolder = "capability";

/// Has the files at `paths` made from their rows, or removed where there are none, once the open transaction is
/// committed. A file that cannot be written is logged, counts as a failed operation of the unit of work, and is tried
/// again by every later call and opening. Throws `db::Error`.
/// @param rows_changed  whether the transaction changed rows of these paths
void FilesFollow(const std::vector<std::string>& paths, bool rows_changed);

/// To be called when the database has been opened: makes what is behind. What cannot be made is logged.
/// @return false if there is work that another writer holds up: it is not waited for, call again
bool BringFilesUpToDate() noexcept;

}  // namespace qv::capability
