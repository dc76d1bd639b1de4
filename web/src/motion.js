import uPlot from "uplot";
import { element } from "./dom.js";

const colours = ["--first", "--second", "--third"];
const charts = {
    frames: { title: "Turn and tilt, frame by frame", unit: "°", columns: ["yaw", "tilt"] },
    gyro: { title: "Gyro", unit: "°/s", columns: ["x", "y", "z"] },
    compass: { title: "Compass (direction only)", unit: "", columns: ["x", "y", "z"] },
};

const yawModes = {
    off: "stabilisation is off, or a stream that the yaw needs is empty",
    follow: "slow turns are followed, so it settles back to 0; where the camera passes level it jumps by half a turn",
    lockDirection: "the direction is locked, so it is the whole turn, modulo 360°; where the camera passes level it jumps by half a turn",
};

/** Whether the numbers are times that a chart can have along its axis. */
function ascends(numbers) {
    return numbers.every((number, i) => Number.isFinite(number) && (i === 0 || number >= numbers[i - 1]));
}

function hasNumbers(column) {
    return column.some(Number.isFinite);
}

function rounded(number, digits = 1) {
    return Number.isFinite(number) ? number.toFixed(digits).replace(/^-(0\.?0*)$/, "$1") : "–";
}

/** The index of the last number that is not above `value`. */
function indexAt(numbers, value) {
    let [low, high] = [0, numbers.length - 1];
    while (low < high) {
        const middle = (low + high + 1) >> 1;
        if (numbers[middle] <= value) low = middle;
        else high = middle - 1;
    }
    return low;
}

/** The charts of a movie's motion, with one cursor over all of them, moved by pointer or slider. */
export class Motion {
    #plots = [];
    #dark = matchMedia("(prefers-color-scheme: dark)");
    #resize = new ResizeObserver(() => this.#fit());

    /** `onFrame(seconds)` is called when the cursor comes to stand on another frame. */
    constructor(motion, box, onFrame) {
        this.box = box;
        this.onFrame = onFrame;
        this.tables = motion.tables.filter(({ rows }) => rows > 0);
        this.frames = this.tables.find(({ name }) => name === "frames");
        this.perFrame = motion.perFrame;
        const timed = this.tables.map(({ columns }) => columns.time).filter(ascends);
        this.range = [Math.min(...timed.map((time) => time[0])), Math.max(...timed.map((time) => time.at(-1)))];
        if (this.tables.length === 0) {
            box.replaceChildren(element("p", { className: "muted" }, "The movie holds no motion data."));
            return;
        }
        this.plots = element("div");
        box.replaceChildren(this.plots);
        if (this.frames && ascends(this.frames.columns.time)) box.prepend(this.#slider());
        const yaw = this.frames && hasNumbers(this.frames.columns.yaw) ? motion.yawMode : "off";
        const held = motion.upsideDown ? "The camera stood on its head. " : "";
        box.append(element("p", { className: "muted" }, `${held}Yaw: ${yawModes[yaw]}.`));
        this.#draw();
        this.#dark.onchange = () => this.#draw();
        this.#resize.observe(box);
    }

    #slider() {
        const { time } = this.frames.columns;
        this.readout = element("output", { className: "readout" });
        this.input = element("input", { type: "range", min: 0, max: time.length - 1, value: 0, "aria-label": "Frame" });
        this.input.oninput = () => this.#showFrame(Number(this.input.value), true);
        this.#describe(0);
        return element("div", { className: "slider" }, this.input, this.readout);
    }

    #describe(frame) {
        const { time, yaw, tilt } = this.frames.columns;
        const turned = Number.isFinite(yaw[frame]) ? `, yaw ${rounded(yaw[frame])}°` : "";
        const text = `${this.perFrame ? "frame" : "sample"} ${frame}, ${rounded(time[frame], 3)} s${turned}, tilt ${rounded(tilt[frame])}°`;
        this.readout.textContent = text;
        this.input.setAttribute("aria-valuetext", text);
    }

    #showFrame(frame, moveCursor) {
        if (!this.input || frame === this.frame) return;
        this.frame = frame;
        this.input.value = frame;
        this.#describe(frame);
        const seconds = this.frames.columns.time[frame];
        if (moveCursor) {
            for (const plot of this.#plots) plot.setCursor({ left: plot.valToPos(seconds, "x"), top: 0 }, false);
        }
        this.onFrame(seconds);
    }

    #draw() {
        for (const plot of this.#plots) plot.destroy();
        this.#plots = this.tables.map((table) => this.#plot(table)).filter(Boolean);
    }

    #plot(table) {
        const style = getComputedStyle(this.box);
        const colour = (name) => style.getPropertyValue(name).trim();
        const { title, unit, columns } = charts[table.name];
        const shown = columns.filter((name) => hasNumbers(table.columns[name]));
        if (shown.length === 0) return null;
        const timed = ascends(table.columns.time);
        const x = timed ? table.columns.time : Float64Array.from({ length: table.rows }, (_, i) => i);
        const axis = { stroke: colour("--text"), grid: { stroke: colour("--line"), width: 1 }, ticks: { stroke: colour("--line") } };
        const series = shown.map((name, i) => ({
            label: name,
            stroke: colour(colours[i]),
            width: 1.5,
            points: { show: false },
            value: (_, value) => (value == null ? "–" : `${rounded(value, 2)}${unit}`),
        }));
        return new uPlot(
            {
                title,
                width: this.#width(),
                height: 200,
                scales: { x: { time: false, ...(timed && { min: this.range[0], max: this.range[1] }) } },
                axes: [
                    { ...axis, label: timed ? "s" : "sample (the time stamps do not ascend)", labelSize: 18, size: 34 },
                    { ...axis, label: unit, labelSize: 18, size: 46 },
                ],
                series: [{ label: timed ? "s" : "sample", value: (_, value) => rounded(value, 3) }, ...series],
                cursor: { y: false, sync: { key: timed ? this.#key : "" }, drag: { x: true, y: false } },
                hooks: { setCursor: [(plot) => timed && this.#follow(plot)] },
            },
            [x, ...shown.map((name) => table.columns[name])],
            this.plots,
        );
    }

    #key = Math.random().toString(36);

    #follow(plot) {
        const { left } = plot.cursor;
        if (!this.input || left == null || left < 0) return;
        this.#showFrame(indexAt(this.frames.columns.time, plot.posToVal(left, "x")), false);
    }

    #width() {
        return Math.max(this.box.clientWidth, 200);
    }

    #fit() {
        for (const plot of this.#plots) {
            if (plot.width !== this.#width()) plot.setSize({ width: this.#width(), height: 200 });
        }
    }

    dispose() {
        this.#resize.disconnect();
        this.#dark.onchange = null;
        for (const plot of this.#plots) plot.destroy();
    }
}
