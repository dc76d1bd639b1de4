#include "exif/CameraRecord.h"
#include "support/Console.h"
#include "support/WideText.h"

using WEKU::Console::outBytes;
using WEKU::wchar::oneLine;

void ExifParser::dump(const char* name) {
    const std::uint16_t entries = read16();
    outBytes("\n%s (%u)\n", name, unsigned{entries});
    std::uint16_t remaining = entries;
    enumEntry(remaining,
              [&](std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                  outBytes("%3d: %04X %04X %08X %08X\n", entries - remaining, unsigned{tag},
                           unsigned{type}, count, value);
                  return true;
              });
}

void ExifParser::dumpKMKN() {
    if (buffer.empty()) return;
    if (makerNoteOnly) {
        outBytes("*** KESTO MakerNote ONLY ***\n");
    } else {
        seekToIFD0();
        dump("IFD0");
        seekToEXIF();
        dump("EXIF");
    }
    seekToKESTOMakerNote();
    dump("MakerNote");
    seekToZELVA();
    dump("RECEPTOR");
    if (subIFDs[0] != 0) {
        seekToSubIFD(0);
        dump("SubIFDs[0]");
    }
    if (subIFDs[1] != 0) {
        seekToSubIFD(1);
        dump("SubIFDs[1]");
    }
    ZELVA record;
    readZEVLA(record);
    record.dump();
}

void ExifParser::ZELVA::dump() const {
    outBytes("\n   model: %s\n", oneLine(model).c_str());
    outBytes("software: %s\n", oneLine(software).c_str());
    outBytes("     ver: %s\n", oneLine(version).c_str());
    outBytes("     S/N: %s\n", oneLine(serial).c_str());
    outBytes("    type: %d\n", type);
    outBytes("     HDR: %d\n", hdr);
    outBytes("     yaw: %f\n", yaw);
    outBytes("   pitch: %f\n", pitch);
    outBytes("    roll: %f\n", roll);
    outBytes("   a/acc: %d\n", autoAcc);
    outBytes(" compass: %f\n", compass);
    outBytes("adjZenith: %d\n", adjZenith);
    outBytes("stabilize: %d\n", stabilize);
    outBytes("v-quality: %d\n", videoQuality);
    outBytes("stitching.isValid: %d\n", stitching.isValid());
    outBytes("   convertVersion: %d\n", stitching.convertVersion);
    outBytes("    fishImgCenter: %d, %d\n", stitching.fishImgCenter.x, stitching.fishImgCenter.y);
    outBytes("    fishMovCenter: %d, %d\n", stitching.fishMovCenter.x, stitching.fishMovCenter.y);
    outBytes("     samplingRate: %f\n", stitching.samplingRate);
}
