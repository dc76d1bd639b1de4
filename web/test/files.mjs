// Makes the files that the page is tested with out of the samples.
import { closeSync, ftruncateSync, openSync, readFileSync, writeFileSync, writeSync } from "node:fs";
import { join } from "node:path";

function box(type, ...parts) {
    const payload = Buffer.concat(parts);
    const header = Buffer.alloc(8);
    header.writeUInt32BE(8 + payload.length);
    header.write(type, 4, "latin1");
    return Buffer.concat([header, payload]);
}

/** The top-level boxes of a movie whose sizes have 32 bits. */
function boxesOf(movie) {
    const boxes = [];
    for (let at = 0; at < movie.length; at += movie.readUInt32BE(at)) {
        boxes.push({ at, size: movie.readUInt32BE(at), type: movie.toString("latin1", at + 4, at + 8) });
    }
    return boxes;
}

/** The movie with a media box of 60 GB, nearly all of it a hole; the samples stay where they were. */
function writeSparse(path, movie) {
    const length = 60e9;
    const boxes = boxesOf(movie);
    const media = boxes.find(({ type }) => type === "mdat");
    const header = Buffer.alloc(16);
    header.writeUInt32BE(1);
    header.write("mdat", 4, "latin1");
    header.writeBigUInt64BE(BigInt(length - media.at + 8), 8);
    const file = openSync(path, "w");
    // The box of eight bytes ahead of the media makes room for the 64-bit size.
    writeSync(file, movie, 0, media.at - 8, 0);
    writeSync(file, header, 0, header.length, media.at - 8);
    writeSync(file, movie, media.at + 8, media.size - 8, media.at + 8);
    let at = length;
    for (const { at: from, size, type } of boxes) {
        if (type === "mdat" || from < media.at) continue;
        writeSync(file, movie, from, size, at);
        at += size;
    }
    ftruncateSync(file, at);
    closeSync(file);
}

/** Boxes within boxes within boxes, and sizes that promise what is not there. */
function bomb() {
    let nested = box("udta");
    for (let i = 0; i < 5000; i++) nested = box("udta", nested);
    const lying = box("stsz", Buffer.from("00000000 00000000 ffffffff".replaceAll(" ", ""), "hex"));
    return Buffer.concat([box("moov", nested, lying), Buffer.from("7fffffff6d6f6f76", "hex")]);
}

/** Returns the paths by name. */
export function makeFiles(folder) {
    const movie = readFileSync(join(folder, "sample.mp4"));
    const marked = Buffer.from(movie);
    const model = Buffer.from("KESTO ZELVA Q7");
    for (let at = 0; (at = marked.indexOf(model, at)) >= 0; at++) marked.write("<b id=forged>x", at);
    const contents = {
        "text.txt": "This is no movie.\n",
        "truncated.mp4": movie.subarray(0, movie.length / 2),
        "cut-in-moov.mp4": movie.subarray(0, movie.length - 4000),
        "hostile.mp4": bomb(),
        "-markup.mp4": marked,
        "empty.jpg": "",
    };
    for (const [name, content] of Object.entries(contents)) writeFileSync(join(folder, name), content);
    writeSparse(join(folder, "sparse.mp4"), movie);
}
