#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A line of the job list holds at most this many characters, its line feed included; what is
/// longer is as many jobs as it makes lines.
inline constexpr std::size_t longestLine = 4095;

/// The columns of a job line, which ends at its first NUL, carriage return or line feed.
/// Deliberate: runs of tabs merge, so no column is empty.
std::vector<std::wstring> columnsOf(std::wstring line);
