#pragma once

#include <string>

enum class FileKind { movie, jpeg, dng };

/// The extension chooses, in any case: .JPG and .JPEG, .DNG, and all else is a movie. Deliberate: a
/// name that is nothing but the extension has none.
FileKind kindByName(const std::wstring& path);

/// Says on standard error why a file gave no result, where the system or the file's first bytes
/// tell: it cannot be read, or it is of another kind than its name says.
void explainFailure(const std::wstring& path);
