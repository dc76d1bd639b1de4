#pragma once

#include <cstdint>

/// What the program and the loadable video module agree on. The module is a file of its own so
/// that only runs that decode pay for loading FFmpeg; the two may come from different builds,
/// hence plain C types, an interface number, and nothing that throws or is owned by the other.
extern "C" {

/// To be raised with every change below.
constexpr std::uint32_t sondexVideoInterface = 1;

/// A movie's bytes.
struct SondexVideoSource {
    std::uint64_t length;
    /// Reads at most `count` bytes at `offset` and returns how many it got.
    std::uint64_t (*readAt)(const void* context, std::uint64_t offset, unsigned char* bytes,
                            std::uint64_t count);
    const void* context;
};

enum SondexVideoOutcome : std::int32_t {
    sondexVideoDescribed = 0,
    sondexVideoUnreadable = 1,
    sondexVideoNoTrack = 2,
};

struct SondexVideoFacts {
    /// Size of the first picture in pixels; left alone when none was decoded.
    double width;
    double height;
    float nominalFrameRate;
    /// 1: no picture was decoded because it is larger than `sondexVideoMostPixels`.
    std::int32_t tooLarge;
};

constexpr std::int64_t sondexVideoMostPixels = std::int64_t{16384} * 8192;

/// What the module exports, under the name that `sondexVideoModuleSymbol` gives.
struct SondexVideoModule {
    std::uint32_t interfaceNumber;
    SondexVideoOutcome (*describe)(const SondexVideoSource* source, SondexVideoFacts* facts);
};

}  // extern "C"

inline constexpr char sondexVideoModuleSymbol[] = "sondexVideoModule";
