#pragma once

#include <optional>
#include <vector>

#include "probe/ffmpeg/Demuxer.h"

/// Finds pictures of a track by their place in the order in which they are shown, which is not the
/// order in which the movie holds them. Reads the packets from the key picture ahead of the one
/// that is wanted up to it, and decodes nothing. Times are in the track's units.
class FrameFinder {
  public:
    struct Target {
        /// The packet that decoding begins with.
        std::int64_t key = 0;
        std::int64_t time = 0;
        /// Counts all pictures that the track holds.
        std::uint64_t storedNumber = 0;
    };

    explicit FrameFinder(Demuxer& demuxer) : demuxer(demuxer) {}

    /// Settles which picture is the first: the earliest at `shownFirst` or behind it. False when
    /// there is none.
    [[nodiscard]] bool begin(std::int64_t shownFirst);
    const Target& first() const { return beginning; }
    /// What a picture's time counts from.
    std::int64_t beginningTime() const { return startTime; }

    /// Nothing when the movie has no such picture.
    std::optional<Target> byNumber(std::uint64_t number);
    /// The picture that is shown at this time.
    std::optional<Target> byTime(std::int64_t time);

  private:
    struct Listed {
        std::int64_t decoded;
        std::int64_t shown;
    };

    std::optional<Target> byStoredNumber(std::uint64_t number);
    /// Begins a list of packets with this one, or goes on with the list that does.
    bool list(std::int64_t packet);
    bool listMore();
    /// Lists until everything that is shown up to this time is listed.
    void listUpTo(std::int64_t time);
    /// That of the last picture is not stored; it counts as lasting as long as the one before.
    std::int64_t durationOfLast() const;
    /// The key packet ahead of the one that the list begins with; -1 when there is none.
    std::int64_t earlierKey() const;
    /// Pictures that are decoded behind the key picture and shown ahead of it.
    std::uint64_t leading() const;

    Demuxer& demuxer;
    Target beginning;
    std::int64_t startTime = 0;
    std::int64_t key = -1;
    std::vector<Listed> listed;
    Libav::Owned<AVPacket> packet{av_packet_alloc()};
};
