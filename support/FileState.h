#pragma once

#include <cstddef>
#include <string>

/// Questions about files that say nothing themselves: what a diagnostic needs once an operation
/// has failed and has printed its line.
namespace WEKU::FileState {

/// Whether the path leads to a folder.
bool isFolder(const std::wstring& path);

/// Why the file at `path` cannot be read, or cannot be created or emptied for writing, in the
/// system's words ("Permission denied"); empty where nothing stands in the way any more.
std::string whyUnreadable(const std::wstring& path);
std::string whyUnwritable(const std::wstring& path);

/// The file's first bytes, at most `most`; empty where it cannot be read.
std::string headOf(const std::wstring& path, std::size_t most);

}  // namespace WEKU::FileState
