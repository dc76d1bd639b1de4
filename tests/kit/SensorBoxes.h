#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sensor/SensorRecords.h"
#include "tests/kit/BoxBuilder.h"

namespace kit {

/// How a stream is stored; what is set here stands in the header whatever is true.
struct StreamLayout {
    bool bigEndian = false;
    std::uint16_t rate = 100;
    std::optional<std::uint32_t> count = {};
    std::optional<std::uint16_t> unitSize = {};
    std::optional<std::uint16_t> mark = {};
};

/// A sensor box of these records; T is one of the record structures or a frame timestamp.
template <class T>
std::string streamBox(std::string_view code, const std::vector<T>& records,
                      const StreamLayout& layout = {});

/// A movie that holds these user-data boxes and nothing else.
std::string sensorMovie(const std::string& boxes);

}  // namespace kit
