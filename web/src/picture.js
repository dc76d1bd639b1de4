import { element } from "./dom.js";
import { isStill } from "./facts.js";
import { Sphere } from "./sphere.js";

const noDecoder = {
    H264: "This browser could not decode the movie's first picture.",
    H265: "This browser has no decoder for H.265, or could not decode the first picture.",
};

/* A movie may claim pictures that take gigabytes to decode, or be made to decode without end: more
   than any camera's pictures need, a page is not to spend. */
const mostPixels = 8192 * 4320;
const mostMilliseconds = 10000;

/** The picture's file within the file: a DNG may hold a JPEG, if its strip is one. */
function stillSource(file, facts) {
    if (facts.type !== "DNG") return file;
    const { offset, bytes } = facts.jpeg;
    return file.slice(offset, offset + bytes, "image/jpeg");
}

function load(file, facts) {
    const still = isStill(facts);
    const source = still ? new Image() : document.createElement("video");
    const url = URL.createObjectURL(still ? stillSource(file, facts) : file);
    const loaded = new Promise((resolve, reject) => {
        source.addEventListener(still ? "load" : "loadeddata", resolve, { once: true });
        source.addEventListener("error", reject, { once: true });
        setTimeout(reject, mostMilliseconds);
    });
    if (!still) Object.assign(source, { muted: true, playsInline: true, preload: "auto" });
    source.src = url;
    return { source, loaded, release: () => URL.revokeObjectURL(url) };
}

const keys = {
    ArrowLeft: (view) => ({ heading: view.heading - 5 }),
    ArrowRight: (view) => ({ heading: view.heading + 5 }),
    ArrowUp: (view) => ({ pitch: view.pitch + 5 }),
    ArrowDown: (view) => ({ pitch: view.pitch - 5 }),
    "+": (view) => ({ fieldOfView: view.fieldOfView - 5 }),
    "-": (view) => ({ fieldOfView: view.fieldOfView + 5 }),
};

/** Lets the sphere be turned by dragging, wheel and keys; Home goes back to where it began. */
function makeTurnable(sphere, initial) {
    const { canvas } = sphere;
    canvas.tabIndex = 0;
    canvas.setAttribute("role", "application");
    canvas.setAttribute("aria-roledescription", "360° picture");
    canvas.addEventListener("pointerdown", (event) => canvas.setPointerCapture(event.pointerId));
    canvas.addEventListener("pointermove", (event) => {
        if (!canvas.hasPointerCapture(event.pointerId)) return;
        const scale = sphere.view.fieldOfView / canvas.clientWidth;
        sphere.lookAt({
            heading: sphere.view.heading - event.movementX * scale,
            pitch: sphere.view.pitch + event.movementY * scale,
        });
    });
    canvas.addEventListener(
        "wheel",
        (event) => {
            if (!event.ctrlKey && document.activeElement !== canvas) return;
            event.preventDefault();
            sphere.lookAt({ fieldOfView: sphere.view.fieldOfView + Math.sign(event.deltaY) * 5 });
        },
        { passive: false },
    );
    canvas.addEventListener("keydown", (event) => {
        const change = event.key === "Home" ? initial : keys[event.key]?.(sphere.view);
        if (!change) return;
        event.preventDefault();
        sphere.lookAt(change);
    });
}

function initialView(facts) {
    return {
        heading: facts["GSpherical:InitialViewHeadingDegrees"] ?? 0,
        pitch: facts["GSpherical:InitialViewPitchDegrees"] ?? 0,
        fieldOfView: facts["GSpherical:InitialHorizontalFOVDegrees"] || 90,
    };
}

/** The first picture of a file, by the browser's own decoder. `box` receives it, or why not. */
export class Picture {
    #stop = new AbortController();

    constructor(file, facts, box) {
        this.box = box;
        this.facts = facts;
        if (facts.frameWidth * facts.frameHeight > mostPixels) {
            this.#say("The pictures are too large to be decoded in a page.");
            return;
        }
        const { source, loaded, release } = load(file, facts);
        this.source = source;
        this.release = release;
        loaded
            .then(() => () => this.#show(), () => () => this.#giveUp())
            .then((go) => this.#stop.signal.aborted || go());
    }

    #giveUp() {
        this.#say(this.#whyNot());
        this.dispose();
    }

    #whyNot() {
        if (this.facts.type === "DNG") return "The picture data of this DNG is raw, which browsers do not develop.";
        if (this.facts.type === "JPEG") return "This browser could not decode the picture.";
        return noDecoder[this.facts.codec] ?? "This browser could not decode the movie's first picture.";
    }

    #say(text) {
        this.box.replaceChildren(element("p", { className: "muted" }, text));
    }

    #show() {
        const { source, facts } = this;
        this.width = source.videoWidth ?? source.naturalWidth;
        this.height = source.videoHeight ?? source.naturalHeight;
        if (!this.width) return this.#say("The movie has no picture.");
        const round = facts.type === "equi" || (isStill(facts) && this.width === 2 * this.height);
        const canvas = element("canvas", { className: round ? "sphere" : "flat" });
        this.box.replaceChildren(canvas);
        try {
            if (!round) throw new Error("flat");
            this.sphere = new Sphere(canvas);
            const view = initialView(facts);
            makeTurnable(this.sphere, view);
            canvas.ariaLabel = `First picture, ${view.heading}° to the right of its middle. Arrow keys look around, plus and minus zoom, Home goes back.`;
            this.sphere.lookAt(view);
            const resize = new ResizeObserver(() => this.sphere.draw());
            resize.observe(canvas);
            this.#stop.signal.onabort = () => resize.disconnect();
            this.box.append(element("p", { className: "muted" }, "Drag to look around."));
        } catch {
            this.flat = canvas.getContext("2d") ?? null;
            canvas.width = Math.min(this.width, 1920);
            canvas.height = (canvas.width * this.height) / this.width;
            canvas.setAttribute("role", "img");
            canvas.ariaLabel = "First picture, as stored";
            if (facts.type === "dualfish") {
                this.box.append(element("p", { className: "muted" }, "Two fisheye pictures, not stitched: shown as stored."));
            }
        }
        source.addEventListener("seeked", () => this.#draw());
        this.#draw();
    }

    #draw() {
        if (this.sphere) this.sphere.setPicture(this.source, this.width, this.height);
        else this.flat?.drawImage(this.source, 0, 0, this.flat.canvas.width, this.flat.canvas.height);
    }

    /** Shows the frame of a moment of a movie, in seconds from its first. */
    seek(seconds) {
        if (!this.width || isStill(this.facts)) return;
        // Behind the frame's start, where rounding cannot fall back to the frame before.
        this.source.currentTime = Math.min(seconds + 0.002, this.source.duration || seconds);
    }

    dispose() {
        this.#stop.abort();
        this.sphere?.dispose();
        if (!this.source) return;
        this.source.removeAttribute("src");
        this.source.load?.();
        this.release();
    }
}
