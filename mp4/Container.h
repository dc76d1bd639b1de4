#pragma once

#include <memory>
#include <string>

#include "mp4/Box.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/Structure.h"

class GPSInfo;

namespace MP4 {

/// A movie file opened as a tree of boxes, an index of offsets that every edit remakes. The file
/// stays open for reading as long as its tree lives, so that whatever is read belongs to the tree
/// even when another file takes the name.
class Container {
  public:
    /// The bound that means the whole file.
    static constexpr std::uint64_t wholeFile = UINT64_MAX;

    /// Opens `path` and parses its boxes up to the offset `end`; false when it does not open.
    [[nodiscard]] bool attach(const std::wstring& path, std::uint64_t end);
    /// Why the last attach failed, as the system's error number; 0 when it did not.
    int attachError() const { return openError; }
    /// False for what stands for a folder, a device or the like.
    bool isRegularFile() const { return source && source->file.isRegular(); }
    /// True while the file that was attached is as it was when it was parsed. One that was replaced
    /// under its name stays so.
    bool isUnchanged() const { return source && source->file.stamp() == stamp; }
    /// False when a read failed in the parse, or it met more boxes than it lists: the tree may then
    /// lack what the file has.
    bool isWhole() const { return parsedWhole; }
    /// Parses the boxes that start at the position of `file`, whose movie the container then stands
    /// for; the tree of before is destroyed.
    void parse(BinFile& file, std::uint64_t end);

    /// Of a file with several movie boxes, takes out of the tree what the later ones hold: they are
    /// left of an edit that was cut off, and no edit may mistake their boxes for the movie's.
    void keepFirstMovie();

    /// As NestedBox::find, from the root; nothing is found before the first parse.
    void find(const char* path, const NestedBox::Visitor& visit) const;
    template <class T, class Visit>
    void findEach(const char* path, Visit&& visit) const {
        if (root) root->findEach<T>(path, visit);
    }
    /// The first match in the whole movie, or null.
    template <class T = BOX>
    T* first(const char* path) const {
        return root ? root->first<T>(path) : nullptr;
    }
    void dump() const;

    /// Runs the callback on the file that was parsed, for reading, or opens the path for in-place
    /// updates; in the callbacks of an edit both stand for the file that the edit has open. False
    /// when there is no file. What is written through `open_a` is no foreign change to a later
    /// edit; who changes sizes or places of boxes with it attaches the file again first.
    bool open(const WEKU::FileIO::Callback& callback) const;
    [[nodiscard]] bool open_a(const WEKU::FileIO::Callback& callback);

    /// The bytes behind an 8-byte header, as many as `size` announces and the file holds; empty
    /// for a box below 9 bytes.
    std::string payload(const BOX& box, std::uint64_t most = UINT64_MAX) const;

    /// An in-place edit: writes into the open file, true when it succeeded.
    using Edit = std::function<bool(BinFile& file)>;
    /// Writes the whole new file and sets the bound up to which it is parsed for the front fix:
    /// for an insertion, where the new bytes begin.
    using Copy = std::function<bool(BinFile& src, BinFile& dst, unsigned long long& insertAt)>;
    /// Corrects the copy: `copy` is parsed from it, `file` is open for update.
    using Fix = std::function<bool(Container& copy, BinFile& file)>;

    /// Edits the file in place and parses it again. Nothing is rolled back: an edit that can fail
    /// looks before it writes. `name` is used in the failure message. The callback of an edit can
    /// make no other edit of the same container.
    [[nodiscard]] bool modifyContainer(const wchar_t* name, const Edit& edit);

    /// Rewrites the file: `copy` writes a new file in its folder, `fixFront` runs on that file
    /// parsed up to the insertion (its enclosing boxes still show their old sizes), `fixAll` on
    /// the whole, all through one handle. Only when every byte has been read, written and flushed
    /// does the copy replace the source, in one step; on any failure the source is as it was and
    /// the copy is gone.
    /// The container parses its file again in every case, and boxes kept from before are invalid.
    [[nodiscard]] bool modifyContainer(const wchar_t* name, const Copy& copy, const Fix& fixFront,
                                       const Fix& fixAll);

    /// Rewrites with the bytes of `write` right behind `anchor`, or in its place.
    [[nodiscard]] bool insertBox(const wchar_t* name, const BOX& anchor, bool replace,
                                 const Edit& write, const Fix& fixFront, const Fix& fixAll);
    /// The front fix of an insertion at `anchor`: gives every box around it `delta` more bytes.
    static Fix growEnclosing(const BOX& anchor, std::int64_t delta);
    /// The fix of the whole: shifts each chunk offset that points behind `anchor` by `delta`;
    /// refuses when it cannot keep every reference into the moved bytes.
    static Fix shiftBehind(const BOX& anchor, std::int64_t delta);
    /// The same for any change: `distance` tells how far what stood at an offset of the source has
    /// moved; everything from the offset `moved` of the copy on is behind the change.
    using Distance = std::function<std::int64_t(std::uint64_t offset)>;
    static Fix shiftOffsets(std::uint64_t moved, const Distance& distance);

    /// Adds `delta` to the sizes of `box` and all its ancestors. Deliberate: the walk includes the
    /// root, whose "header" is that of the file's first box; growEnclosing leaves the root out.
    [[nodiscard]] bool modifyBoxSize(BinFile& file, const BOX& box, std::int64_t delta) const;
    /// Add `delta` to every chunk offset of the movie's tracks, or of the spatial-audio track in
    /// the spatial-data box, wrapping at the offset's width; false when there is no table.
    [[nodiscard]] bool modifySTCOIndex(BinFile& file, std::int64_t delta) const;
    [[nodiscard]] bool modifySpatialTrakSTCOIndex(BinFile& file, std::int64_t delta) const;
    [[nodiscard]] bool modifySTCOIndexImpl(const std::string& prefix, BinFile& file,
                                           std::int64_t delta) const;

    /// Moves the movie box ahead of the first media data, by a rewrite that keeps everything else
    /// in its order. False, with the file untouched, when it is there already, or when something
    /// could not be kept right. Another movie box, left of an edit that was cut off, becomes free.
    [[nodiscard]] bool moovFirst();
    /// True when no media data stands ahead of the movie box.
    bool startsFast() const;
    /// False when any top-level box is a moov, and for a file without boxes.
    bool isMdatFirst() const;

    /// Sets the creation times of movie, tracks and media, in seconds since 1904-01-01 UTC, in
    /// place. Writes nothing when one of them cannot be set. The tree is not parsed again.
    [[nodiscard]] bool updateTimeStamp(std::uint64_t time);

    /// Append a top-level uuid box with the payload unless the movie has one of the kind, which is
    /// said on the console and true. Refused when a reader would not find the box; after a failure
    /// the file has its old length.
    [[nodiscard]] bool appendXMP(const std::string& xmp);
    [[nodiscard]] bool appendAxis(const std::string& axis);

    /// Put the position into the user data, as ISO 6709 text and as the location information box of
    /// 3GPP TS 26.244, in place of those that are there. False when the position lacks latitude or
    /// longitude.
    bool appendLocations(const GPSInfo& position);
    /// Removes the location information boxes that lack fields of their standard, for which other
    /// readers refuse the movie. True as well when there is none.
    bool removeBadLOCI();
    /// Puts the XML into the spherical-video box of the video track, whose own it replaces.
    bool appendSphericalVideoXML(const std::string& xml);
    /// Both in one rewrite.
    bool appendLocationAndSphericalVideoXML(const GPSInfo& position, const std::string& xml);
    /// Replaces all the boxes of the user data by these, which are whole boxes.
    bool replaceUdta(const std::string& boxes);

    /// Sets constraint_set1_flag in every H.264 baseline record of the movie and states `fullRange`
    /// in its parameter sets, in the way that moves least: in place where a record keeps its room,
    /// else with bytes of a free box of the user data or of the movie box, else by growing the
    /// movie box. No box with content is shortened. False, with the file as it was, when a record
    /// cannot be read or the bytes that move are referred to in ways that cannot be kept right.
    [[nodiscard]] bool appendFullRangeAndConstrainedSet1Flag(bool fullRange);

    /// Why the last edit failed.
    struct Failure {
        enum Kind {
            none,
            refused,     ///< The line on standard error says why.
            busy,        ///< Another program is editing the file.
            changed,     ///< The file is not the one that was parsed.
            unreadable,  ///< The parse was not complete.
            system,      ///< A file call failed, with `error`.
        };
        Kind kind = none;
        int error = 0;
    };
    const Failure& lastFailure() const { return failure; }

    /// When not empty, receives the result of the next edit, of whatever kind, and the source stays
    /// as it is; cleared when that succeeded, and the container then stands for this file. May not
    /// be the source itself.
    std::wstring outputPath;

    std::wstring path;
    std::unique_ptr<ROOT> root;
    /// The first top-level box of each kind, or null.
    BOX* moov = nullptr;
    BOX* mdat = nullptr;
    /// The last track whose header has a width, or null.
    TRAK* videoTrack = nullptr;

  private:
    struct Source {
        explicit Source(const std::wstring& given) : path(given), file(path, L'r') {}
        const std::wstring path;
        WEKU::FileIO file;
        /// Knows the length, so that no reading asks for it again.
        BinFile reader{file};
    };

    class EditScope;

    /// Says so when the edit is asked for by the callback of another.
    bool isWithinEdit() const;
    /// Keeps other editors of `opened` out; false, with the reason, when one is at work or the
    /// tree does not describe the file as it is.
    bool mayEdit(WEKU::FileIO& opened);
    /// Notes what became of an edit of the file.
    bool conclude(bool done, const WEKU::FileIO& written);
    void findVideoTrack();
    /// Parses the file anew after an edit; where it went away, the tree stays as it was.
    void attachAgain() { (void)attach(std::wstring(path), wholeFile); }
    /// Parses the file anew if it was changed through `open_a`.
    void readAgainIfTouched();
    bool editInPlace(const Edit& edit);
    /// The rewrite without its message; afterwards the container stands for the output, unparsed.
    bool rewrite(const Copy& copy, const Fix& fixFront, const Fix& fixAll);
    bool fixCopy(WEKU::FileIO& made, std::uint64_t bound, const Fix& fix) const;
    bool append(const UUID& box, const wchar_t* existedMessage);

    /// The file whose boxes the tree holds; null when it was parsed from a caller's handle.
    std::unique_ptr<Source> source;
    int openError = 0;
    /// The file's state when it was parsed.
    WEKU::FileStamp stamp;
    /// No read failed in the parse, and it listed every box that it met.
    bool parsedWhole = false;
    /// The container's user wrote to the file since.
    bool touched = false;
    Failure failure;
    /// The file that the edit under way has open.
    WEKU::FileIO* underEdit = nullptr;
};

}  // namespace MP4
