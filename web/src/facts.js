import { element, grouped } from "./dom.js";

const plain = (value) => String(value);
const yesNo = (value) => (value ? "yes" : "no");
const unit = (name) => (value) => `${value} ${name}`;
const degrees = (value) => `${value}°`;
const whole = (name) => (value) => `${grouped(value)} ${name}`;
const word = (words) => (value) => words[value] ?? String(value);

const inMakerNote = "the camera's maker note has no such tag, or there is no maker note";
const inSphericalXml = "the video track has no spherical-video XML that says so";
const ofMotion = "the movie holds no accelerometer samples";

const camera = [
    ["model", "Camera", plain, inMakerNote],
    ["software", "Firmware", plain, inMakerNote],
    ["cpuVersion", "Processor version", plain, inMakerNote],
    ["cameraSerial", "Serial number", plain, inMakerNote],
];

/** Key of the result, name for people, how its value is shown, why it is missing. */
const movie = [
    ["type", "Projection", word({ equi: "equirectangular", dualfish: "two fisheye pictures" })],
    ...camera,
    ["duration", "Duration", (value) => `${value.toFixed(2)} s`, "the movie header states none"],
    ["frameWidth", "Width", whole("px"), "no track header states a size"],
    ["frameHeight", "Height", whole("px"), "no track header states a size"],
    ["codec", "Codec", word({ H264: "H.264", H265: "H.265" })],
    ["videoBitRate", "Video bit rate", whole("bit/s"), "without a duration there is none"],
    ["dxvaDecodable", "Constrained baseline", yesNo, "only H.264 has this profile"],
    ["videoQuality", "Quality setting", plain, inMakerNote],
    ["gps", "Position (ISO 6709)", plain, "the camera stored no position"],
    ["GSpherical:InitialViewHeadingDegrees", "Initial view: heading", degrees, inSphericalXml],
    ["GSpherical:InitialViewPitchDegrees", "Initial view: pitch", degrees, inSphericalXml],
    ["GSpherical:InitialHorizontalFOVDegrees", "Initial view: field of view", degrees, inSphericalXml],
    ["GSpherical:InitialCameraDolly", "Initial view: dolly", plain, inSphericalXml],
    ["GSpherical:StitchingSoftware", "Stitched by", plain, inSphericalXml],
    ["creatorTool", "Made with", plain, "there is no XMP packet that says so"],
    ["topBottomCorrection", "Zenith correction", yesNo, inMakerNote],
    ["videoStabilization", "Stabilisation setting", plain, inMakerNote],
    ["directionLocked", "Direction locked", yesNo, inMakerNote],
    ["hasKDTD", "Motion data", yesNo],
    ["KDTDSamplingRate", "Accelerometer", unit("samples/s"), ofMotion],
    ["KDTBSamplingRate", "Gyro", unit("samples/s"), ofMotion],
    ["KDTCSamplingRate", "Compass", unit("samples/s"), ofMotion],
    ["hasSpatialSound", "Spatial sound track", yesNo],
    ["hasSA3DSound", "Ambisonic sound (SA3D)", yesNo],
];

const inStill = "the picture's maker note has no such tag";
const still = [
    ["type", "Format", plain],
    ...camera,
    ["yaw", "Heading", degrees, inStill],
    ["pitch", "Pitch", degrees, inStill],
    ["roll", "Roll", degrees, inStill],
    ["jpeg", "Picture data", ({ offset, bytes }) => `${grouped(bytes)} bytes from ${grouped(offset)} on`],
];

export function isStill(facts) {
    return facts.type === "JPEG" || facts.type === "DNG";
}

/** The facts as a table, and what is missing as a list of reasons; null when nothing is. */
export function showFacts(facts) {
    const rows = isStill(facts) ? still : movie;
    const table = element("table", { className: "facts" }, element("caption", { className: "hidden" }, "What the file is"));
    const missing = new Map();
    for (const [key, name, show, reason] of rows) {
        const value = facts[key];
        if (value === undefined || value === null) {
            if (reason) missing.set(reason, [...(missing.get(reason) ?? []), name]);
            continue;
        }
        table.append(
            element("tr", { dataset: { key } }, element("th", { scope: "row" }, name), element("td", {}, show(value))),
        );
    }
    if (missing.size === 0) return { table, missing: null };
    const list = element("ul");
    for (const [reason, names] of missing) {
        list.append(element("li", {}, element("strong", {}, names.join(", ")), `: ${reason}.`));
    }
    return { table, missing: list };
}

/** One line about the file. */
export function summaryOf(facts) {
    const shown = Object.fromEntries((isStill(facts) ? still : movie).map(([key, , show]) => [key, show]));
    const keys = ["model", "type", "duration"];
    const words = keys.filter((key) => facts[key] != null).map((key) => shown[key](facts[key]));
    if (facts.frameWidth) words.push(`${facts.frameWidth} × ${facts.frameHeight}`);
    return words.join(" · ");
}
