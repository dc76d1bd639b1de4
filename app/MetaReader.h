#pragma once

#include <string>

#include "probe/Sondex.h"
#include "probe/StillFacts.h"
#include "probe/TreeFacts.h"
#include "sensor/MovieSensors.h"

/// The results of one file, from its reading to its result line. One is made for every file and
/// nothing outlives it.
class MetaReader : public TreeFacts, public MovieSensors, public StillFacts {
  public:
    /// The program behind `main`: handles the one file that the words name, or, without words
    /// after the program's name, one job a line of standard input. Returns 0, or 1 when the usage
    /// banner was shown or answers to jobs could not be written.
    static int process(int count, const wchar_t* const* words);
    /// Prints the usage banner.
    static void usage();

    /// Reads a movie; true when the probe could describe it. One that changes under the reading is
    /// read again, a few times at most.
    bool parse(const std::wstring& path);
    /// Prints the result line of a movie that was read.
    void dumpToJSON() const;

    /// Read the camera record of a still; true when that succeeded. With `dump` the IFDs are
    /// printed as well.
    bool parse_JPEG(const std::wstring& path, bool dump);
    bool parse_DNG(const std::wstring& path, bool dump);
    /// Prints the result line of a still that was read.
    void dumpToJSON_still(bool isDng) const;

    std::wstring inputPath;
    /// The movie that was read, open.
    MP4::Container movie;
    Sondex probe;

  private:
    bool parseOnce(const std::wstring& path);
};
