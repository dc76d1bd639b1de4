#pragma once

#include <array>

#include "probe/DecoderInterface.h"
#include "probe/ffmpeg/Libav.h"
#include "probe/ffmpeg/Meter.h"

/// The MP4/MOV demuxer over a caller's bytes: no protocol, no file name and no second file is
/// ever involved, and the meter is looked at with every read.
class Demuxer {
  public:
    /// A movie's index takes 24 bytes a sample, and a hostile table announces billions of samples
    /// in a few bytes; a packet is one coded picture.
    static std::uint64_t largestAllocation(std::uint64_t length);
    /// What opening a movie of this length and decoding one picture may cost: an hour's movie opens
    /// in a few milliseconds, and the largest picture decodes in less than one of the seconds.
    static Meter meterFor(std::uint64_t length);

    Demuxer(const SondexVideoSource& source, Meter& meter);
    Demuxer(const Demuxer&) = delete;
    Demuxer& operator=(const Demuxer&) = delete;

    /// Reads the movie's header. The first video track that is not an attached picture: only its
    /// packets are read from then on, and `facts` names its codec. Null when there is none, or no
    /// movie; `outcome` then says which, and `facts` whether that was too costly to tell.
    AVStream* openVideo(SondexVideoFacts& facts, SondexVideoOutcome& outcome);
    /// Reads the next packet of the selected track; false at the end.
    [[nodiscard]] bool nextPacket(AVPacket& packet);

    /// Reads the index of all fragments, none of their packets.
    void readFragments();
    /// The packets of the selected track that the index knows.
    std::int64_t packetCount() const;
    /// The last packet that decoding can begin with and that is decoded at this time or earlier;
    /// -1 when there is none.
    std::int64_t keyPacketAt(std::int64_t decodingTime) const;
    std::int64_t decodingTimeOf(std::int64_t packet) const;
    /// Makes the packet with this number, in decoding order, the next one.
    [[nodiscard]] bool seekTo(std::int64_t packet);

  private:
    [[nodiscard]] bool open();
    AVStream* selectVideo();

    static int read(void* self, std::uint8_t* bytes, int count);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    int deliver(std::uint8_t* bytes, std::uint64_t count);
    /// Reads from the source while that is allowed.
    std::uint64_t fetch(std::uint64_t offset, std::uint8_t* bytes, std::uint64_t count);

    const SondexVideoSource& source;
    std::uint64_t position = 0;
    /// Bytes read ahead, so that small reads do not cost a system call each.
    std::array<std::uint8_t, 16384> window;
    std::uint64_t windowStart = 0;
    std::uint64_t windowLength = 0;
    Meter& meter;
    /// Bytes that may still be read.
    std::uint64_t readsLeft;
    AVStream* selected = nullptr;
    /// The number of the packet that is read next.
    std::int64_t next = 0;
    Libav::Owned<AVIOContext> io;
    Libav::Owned<AVFormatContext> format;
};
