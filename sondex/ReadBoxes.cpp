#include <array>
#include <string_view>

#include "mp4/AVCC.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "sondex/inside/Opening.h"

namespace sondex {

using namespace inside;

namespace {

using Fields = std::vector<Field>;

FieldValue valueOf(std::unsigned_integral auto number) {
    return std::uint64_t{number};
}
FieldValue valueOf(std::signed_integral auto number) {
    return std::int64_t{number};
}
FieldValue valueOf(std::floating_point auto number) {
    return double{number};
}
FieldValue valueOf(std::string text) {
    return text;
}

template <class T>
void add(Fields& fields, const char* name, T value) {
    fields.push_back({name, valueOf(std::move(value))});
}

void addVersion(Fields& fields, const MP4::FullBox& box) {
    add(fields, "version", box.version);
    add(fields, "flags",
        std::uint32_t{box.flags[0]} << 16 | std::uint32_t{box.flags[1]} << 8 | box.flags[2]);
}

std::string hexOf(const MP4::UserType& type) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < type.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += {digits[type[i] >> 4], digits[type[i] & 15]};
    }
    return text;
}

void describe(const MP4::MVHD& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "creationTime", box.timeStamp);
    add(fields, "timeScale", box.timeScale);
    add(fields, "duration", box.duration);
}

void describe(const MP4::TKHD& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "creationTime", box.timeStamp);
    add(fields, "width", box.width);
    add(fields, "height", box.height);
}

void describe(const MP4::MDHD& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, box.version == 1 ? "modificationTime" : "creationTime", box.timeStamp);
    add(fields, "timeScale", box.timeScale);
    add(fields, "duration", box.duration);
}

void describe(const MP4::HDLR& box, Fields& fields) {
    add(fields, "handlerType", std::string(reinterpret_cast<const char*>(box.block.data()) + 8, 4));
    add(fields, "name", box.handlerName);
}

void describe(const MP4::STSZ& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "sampleSize", box.sampleSize);
    add(fields, "sampleCount", box.sampleCount);
    add(fields, "sampleTotal", box.sampleTotal);
}

void describe(const MP4::STTS& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "entryCount", box.entryCount);
}

void describe(const MP4::STSC& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "entryCount", box.entryCount);
}

void describe(const MP4::STCO& box, Fields& fields) {
    addVersion(fields, box);
    add(fields, "entryCount", box.entryCount);
}

void describe(const MP4::XYZ& box, Fields& fields) {
    add(fields, "language", box.language);
    add(fields, "text", box.text);
}

void describe(const MP4::LOCI& box, Fields& fields) {
    if (!box.hasPosition) return;
    add(fields, "first", box.first);
    add(fields, "second", box.second);
    if (box.hasThird) add(fields, "third", box.third);
}

void describe(const MP4::UUID& box, Fields& fields) {
    add(fields, "uuid", hexOf(box.uuid));
    if (box.is(MP4::sphericalVideoType) || box.is(MP4::xmpType)) add(fields, "text", box.payload);
}

void describe(const MP4::SOWT& box, Fields& fields) {
    add(fields, "channelCount", box.channelCount);
    add(fields, "sampleSize", box.sampleSize);
}

void describe(const MP4::STSD& box, Fields& fields) {
    add(fields, "entryCount", box.entryCount);
}

void describe(const MP4::AVCC& box, Fields& fields) {
    constexpr std::size_t levelAt = 3;
    if (box.record.size() <= levelAt) return;
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(box.record[i]); };
    add(fields, "profile", byteAt(1));
    add(fields, "compatibility", byteAt(2));
    add(fields, "level", byteAt(levelAt));
}

/// Describes the box if it is of the class.
template <class Class>
bool describeIf(const MP4::BOX& box, Fields& fields) {
    const auto* known = dynamic_cast<const Class*>(&box);
    if (known != nullptr) describe(*known, fields);
    return known != nullptr;
}

template <class... Classes>
void describeOneOf(const MP4::BOX& box, Fields& fields) {
    (describeIf<Classes>(box, fields) || ...);
}

Box valueOf(const MP4::BOX& box, const std::string& parentPath) {
    Box value;
    const auto type = WEKU::bitCast<std::array<char, 4>>(box.type);
    value.type.assign(type.begin(), type.end());
    const bool isRoot = box.depth < 0;
    if (!isRoot) value.path = parentPath.empty() ? value.type : parentPath + '.' + value.type;
    value.offset = box.start;
    value.size = box.size();
    value.headerSize = isRoot ? 0 : static_cast<std::uint32_t>(box.headerLength());
    value.openEnded = box.openEnded;
    describeOneOf<MP4::MVHD, MP4::TKHD, MP4::MDHD, MP4::HDLR, MP4::STSZ, MP4::STTS, MP4::STSC,
                  MP4::STCO, MP4::XYZ, MP4::LOCI, MP4::UUID, MP4::SOWT, MP4::STSD, MP4::AVCC>(
        box, value.fields);
    if (const auto* nested = dynamic_cast<const MP4::NestedBox*>(&box)) {
        value.children.reserve(nested->children.size());
        for (const auto& child : nested->children)
            value.children.push_back(valueOf(*child, value.path));
    }
    return value;
}

}  // namespace

Result<Box> readBoxes(std::string_view path, const Options& options) {
    const auto tree = [](const MP4::Container& movie) -> Result<Box> {
        if (movie.moov == nullptr && kindOf(movie) != Kind::movie) return whyNoMovie(movie);
        return valueOf(*movie.root, {});
    };
    return readFile<Box>(path, options, MP4::Container::wholeFile, tree);
}

}  // namespace sondex
