#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/ByteArray.h"
#include "support/Failure.h"

/// Reader of the TIFF/Exif structure (TIFF 6.0, Exif 2.3) that the camera writes into its stills
/// and movies. It holds one file image in memory and finds five places in it on demand, each
/// found once: IFD0, the Exif IFD, the MakerNote, the maker's own IFD behind its signature, and
/// the camera IFD.
///
/// Every failure is thrown as WEKU::Failure, the message itself. Nothing outside the attached
/// bytes is ever read: a place beyond them fails with "Invalid position".
class ExifParser {
  public:
    /// The decoded camera record; exif/CameraRecord.h.
    struct ZELVA;

    /// The camera's own numbers, which are stored and passed on but not interpreted here.
    enum PROJECTION_TYPE : std::int32_t {};
    enum TOPBOTTOM_CORRECTION_TYPE : std::int32_t {};
    /// The setting's low three bits choose how yaw is treated, bit 3 stands for the image.
    enum VIDEO_STABILIZATION : std::int32_t {
        VIDEO_STABILIZATION_UNSET = -1,
        VIDEO_STABILIZATION_OFF = 0,
    };

    using EntryVisitor = std::function<bool(std::uint16_t tag, std::uint16_t type,
                                            std::uint32_t count, std::uint32_t value)>;
    using EntryHandler = std::function<void(std::uint16_t tag, std::uint16_t type,
                                            std::uint32_t count, std::uint32_t value)>;

    /// The block of camera facts that the maker writes bears this name.
    static constexpr char kestoExifCameraInfo[] = "[Kesto Camera Info]";
    static constexpr std::uint64_t kestoExifCameraInfo_length = sizeof kestoExifCameraInfo - 1;

    /// What a caller puts in front of a DNG: SOI and an APP1 "Exif" segment of any length, so that
    /// the JPEG walk ends at the TIFF header.
    static constexpr unsigned char DNG_dummyHeader[12] = {0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xFF,
                                                          'E',  'x',  'i',  'f',  0,    0};

    ExifParser() = default;
    virtual ~ExifParser() = default;
    ExifParser(const ExifParser&) = delete;
    ExifParser& operator=(const ExifParser&) = delete;

    /// Attaches a JPEG file image, replacing what was attached; null or size 0 detaches. The
    /// pointer forms copy the bytes, the others take them over.
    void attachBytes(const unsigned char* bytes, std::uint64_t size);
    void attachBytes(ByteArray&& bytes);

    /// Attaches the payload of a movie's maker-note box: a bare maker IFD behind its signature
    /// (big-endian), or a bare TIFF image.
    void attachKMKN(const unsigned char* bytes, std::uint64_t size);
    void attachKMKN(ByteArray&& bytes);

    /// Attaches a DNG behind `DNG_dummyHeader` and fills `subIFDs`, the strip and the tables. What
    /// was found before a failure is kept.
    void attachDNG(const unsigned char* bytes, std::uint64_t size);
    void attachDNG(ByteArray&& bytes);

    /// Copies `count` bytes from index `at`; the cursor stays.
    void read(unsigned char* dst, std::uint64_t count, std::uint64_t at) const;
    /// Read at the cursor, in the data's byte order, and advance it.
    std::uint16_t read16();
    std::uint32_t read32();
    /// Reads one 12-byte IFD entry; `value` is the raw value field.
    void readEntry(std::uint16_t& tag, std::uint16_t& type, std::uint32_t& count,
                   std::uint32_t& value);

    /// Walks `remaining` entries from the cursor while `fn` returns true, counting `remaining`
    /// down after each call. Returns the last result of `fn`; true when there are no entries.
    bool enumEntry(std::uint16_t& remaining, const EntryVisitor& fn);
    /// Calls `fn` with the first entry that has the tag; returns whether there is one.
    bool findEntry(std::uint16_t& remaining, std::uint16_t tag, const EntryHandler& fn);
    /// The same for the IFD at the cursor, which starts with its entry count. The cursor is left
    /// behind the entry found, or behind the last.
    bool find(std::uint16_t tag, const EntryHandler& fn);

    /// Move the cursor to the entry count of an IFD (the MakerNote: to its signature).
    void seekToIFD0();
    void seekToEXIF();
    void seekToMakerNote();
    void seekToKESTOMakerNote();
    void seekToZELVA();
    void seekToSubIFD(int index);

    /// Saves the cursor and moves it; back to the place saved last (nowhere when none is).
    void pushPosition(std::uint64_t next);
    void popPosition();

    /// The bytes of an ASCII or UNDEFINED value stored out of line, a terminating NUL included.
    void toString(std::uint16_t type, std::uint32_t count, std::uint32_t value,
                  std::string& out) const;
    /// The SHORT stored inline in a value field; big-endian data only.
    std::uint16_t toUINT16(std::uint32_t value) const;

    /// Decodes the camera record. Absent tags keep what ZELVA::clear() gives; a malformed one ends
    /// the decoding, and what was filled before stays. Deliberate: the name is spelt so.
    void readZEVLA(ZELVA& out);

    /// Prints the IFD at the cursor as a table.
    void dump(const char* name);
    /// Prints every IFD found and the camera record; nothing when no bytes are attached.
    void dumpKMKN();

    /// Change one setting of the camera IFD in a maker-note payload (as `attachKMKN` takes it),
    /// whose size stays. A setting that is not there is left out. On a failure, which is always
    /// "... override failed.", the bytes are as they were.
    static void updateProjectionType(unsigned char* bytes, std::uint64_t size,
                                     PROJECTION_TYPE type);
    static void updateSphereAdjZenith(unsigned char* bytes, std::uint64_t size,
                                      TOPBOTTOM_CORRECTION_TYPE mode);
    /// A payload without the setting gives up its 0x0109 entry (SRATIONAL[3]) for it. The modes
    /// unset and off leave the bytes alone.
    static void updateVideoStabilization(unsigned char* bytes, std::uint64_t size,
                                         VIDEO_STABILIZATION mode);

    ByteArray buffer;
    std::uint64_t length = 0;
    std::uint64_t position = 0;
    std::vector<std::uint64_t> positionStack;
    bool bigEndian = true;

    /// Index of the TIFF header, to which every offset in the data is relative.
    std::uint64_t tiffOffset = 0;
    /// Indices into `buffer`; 0: not located.
    std::uint64_t ifd0Offset = 0;
    std::uint64_t exifOffset = 0;
    std::uint64_t makerNoteOffset = 0;
    std::uint64_t kestoMakerNoteOffset = 0;
    std::uint64_t zelvaOffset = 0;
    /// The bytes are a bare maker note: IFD0, Exif IFD and MakerNote do not exist.
    bool makerNoteOnly = false;

    /// Filled by `attachDNG`: offsets as the file has them (relative to the TIFF header) and
    /// lengths in bytes; 0: absent.
    std::uint32_t subIFDs[2] = {0, 0};
    std::uint32_t stripOffset = 0;
    std::uint32_t stripByteCount = 0;
    std::uint32_t affineTable1Offset = 0;
    std::uint32_t affineTable1Length = 0;
    std::uint32_t affineTable2Offset = 0;
    std::uint32_t affineTable2Length = 0;

  private:
    /// What a MakerNote of this maker begins with; its IFD follows.
    static constexpr unsigned char makerSignature[8] = {'K', 'e', 's', 't', 'o', 0, 0, 0};

    /// Reads the TIFF header at the cursor; false when its identifier is not 42.
    [[nodiscard]] bool readTiffHeader();
    /// True, with the cursor moved there, when the place is known.
    [[nodiscard]] bool seekToKnown(std::uint64_t offset);
    /// Follows the entry `tag` of the IFD at the cursor and remembers where it leads.
    void follow(std::uint16_t tag, std::uint64_t& offset, WEKU::Failure notFound);
    void refuseMakerNoteOnly() const;
};
