#pragma once

/// What the page's worker calls. Texts are JSON in UTF-8, valid until the next call; every call
/// reads the file at `path`, a name in the current folder, from its start.
extern "C" {

/// {"output": what the program prints for the file, "warnings": [its lines on standard error],
/// "facts": {...}} or, in the place of "facts", "error": {"code": word, "message": sentence}.
const char* sondexFacts(const char* path);

/// The box tree: {"type", "offset", "size", "fields": {name: text}, "children": [...]}, the file
/// itself at the root, or {"error": ...} as above. A tree of a hostile file is cut, which
/// "omitted", the number of boxes that are left out, says.
const char* sondexBoxes(const char* path);

/// {"rates": {...}, "yawMode": word, "upsideDown": truth, "tables": [{"name", "rows", "columns":
/// [names], "at": address}]} or {"error": ...}. A table's columns stand one behind the other at
/// its address, each as 64-bit floating-point numbers: seconds since the first frame, degrees,
/// degrees a second; the compass, of which only the direction means something, has length 1.
const char* sondexMotion(const char* path);
}
