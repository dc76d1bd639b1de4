// The page in a real Chromium, held against what the programs of this build print.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { readFileSync, readdirSync } from "node:fs";
import { join, resolve } from "node:path";
import { after, before, test } from "node:test";
import { gzipSync } from "node:zlib";
import { look, openPage, pick, startBrowser } from "./browser.mjs";
import { makeFiles } from "./files.mjs";

const build = resolve(process.env.SONDEX_BUILD ?? "../build");
const root = join(build, "web");
const folder = join(build, "web-test");
const path = (name) => join(folder, name);

let browser, proxy, stop, page;

before(async () => {
    makeFiles(folder);
    ({ browser, proxy, stop } = await startBrowser(root));
    page = await openPage(browser);
});

after(() => stop());

/** What a program prints for a file, called in its folder as the page calls it. */
function run(preset, name, ...words) {
    const word = name.startsWith("-") ? `./${name}` : name;
    const { stdout, stderr } = spawnSync(join(build, preset, "Sondex"), [word, ...words], { cwd: folder, encoding: "utf8" });
    const line = stdout.split("\n").find((each) => each.startsWith("result: "));
    return { printed: stdout + stderr, facts: line && JSON.parse(line.slice(8)) };
}

const words = { equi: "equirectangular", H264: "H.264", true: "yes", false: "no" };

/** Every fact of the program's line stands in the page's table, and no other does. */
function holdFacts(rows, facts) {
    const expected = Object.entries(facts).filter(([key]) => !["status", "decodable"].includes(key));
    assert.deepEqual(Object.keys(rows).sort(), expected.map(([key]) => key).sort());
    for (const [key, value] of expected) {
        const shown = rows[key].replaceAll("\u202f", "");
        const values = typeof value === "object" ? Object.values(value) : [value];
        for (const each of values) assert.ok(shown.includes(words[each] ?? String(each)), `${key}: ${shown} for ${each}`);
    }
}

test("the facts are the program's", async () => {
    for (const name of ["sample.mp4", "sample.jpg", "sample.dng", "-markup.mp4", "sparse.mp4"]) {
        const { rows, printed } = await pick(page, path(name));
        holdFacts(rows, run("release", name).facts);
        assert.equal(printed, run("release", name).printed);
    }
    assert.equal(await page.$("#forged"), null, "texts of a file are no markup");
});

test("damaged files give the program's words, and the page lives on", async () => {
    for (const name of ["text.txt", "truncated.mp4", "cut-in-moov.mp4", "hostile.mp4", "empty.jpg"]) {
        const { rows, error, printed } = await pick(page, path(name));
        const { facts, printed: expected } = run("header", name);
        assert.equal(printed, expected, name);
        if (facts) holdFacts(rows, facts);
        else assert.ok(error, name);
    }
    assert.equal((await pick(page, path("sample.mp4"))).rows.model, "KESTO ZELVA Q7");
});

test("the motion is that of the dump, and the cursor moves the picture", async () => {
    await pick(page, path("sample.mp4"));
    run("release", "sample.mp4", "-kdtd:motion.json");
    const frames = JSON.parse(readFileSync(path("motion.json"), "utf8"));
    const start = frames[0].timestamp;
    const seen = [];
    await page.focus(".slider input");
    for (let at = 0; at < frames.length; at++) {
        if (at > 0) await page.keyboard.press("ArrowRight");
        if (at % 10 !== 0) continue;
        const { x, y, z, yaw, timestamp } = frames[at];
        const tilt = (Math.atan2(Math.hypot(x, y), z) * 180) / Math.PI;
        const text = await page.$eval(".slider output", (output) => output.textContent);
        const [frame, seconds, turned, tilted] = text.match(/-?[\d.]+/g).map(Number);
        assert.equal(frame, at);
        assert.ok(Math.abs(seconds - (timestamp - start) / 1e9) < 0.001, text);
        assert.ok(Math.abs(turned - (yaw * 180) / Math.PI) < 0.06 && Math.abs(tilted - tilt) < 0.06, text);
        seen.push(tilted);
    }
    assert.ok(seen[0] === 0 && seen.at(-1) < 1 && Math.max(...seen) > 15, `rest, tilt, rest: ${seen}`);
    assert.equal(await page.$$eval(".motion canvas", (canvases) => canvases.length), 3);
    await page.waitForFunction(() => document.querySelector(".slider input").value > 100);
    const late = await look(page);
    await page.keyboard.press("Home");
    assert.notEqual((await look(page)).whole, late.whole, "the picture follows the cursor");
});

test("the picture opens at the stated view and turns by keys", async () => {
    await pick(page, path("sample.mp4"));
    // 90 degrees to the right of the middle are three quarters across.
    const pixel = execFileSync("ffmpeg", ["-v", "error", "-i", path("sample.mp4"), "-frames:v", "1", "-vf", "format=rgb24,crop=1:1:720:240", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"]);
    const shown = await look(page);
    shown.middle.forEach((value, i) => assert.ok(Math.abs(value - pixel[i]) < 24, `${shown.middle} for ${[...pixel]}`));
    await page.focus("canvas.sphere");
    for (let i = 0; i < 18; i++) await page.keyboard.press("ArrowLeft");
    assert.notEqual((await look(page)).whole, shown.whole);
    await page.keyboard.press("Home");
    assert.equal((await look(page)).whole, shown.whole);
});

test("nothing leaves the page", async () => {
    const before = proxy.requests.length;
    await pick(page, path("sample.mp4"));
    const attempts = async () => {
        const tries = [
            () => fetch("http://localhost/leak"),
            () => fetch("https://example.org/leak"),
            () => new Promise((done) => Object.assign(new XMLHttpRequest(), { onloadend: done }).send()),
            () => new WebSocket("ws://localhost/leak"),
            () => navigator.sendBeacon?.("http://localhost/leak", "x"),
            () => self.importScripts?.("http://example.org/leak.js"),
            () => self.document && document.body.append(Object.assign(new Image(), { src: "http://localhost/leak.png" })),
        ];
        for (const attempt of tries) await Promise.resolve().then(attempt).catch(() => {});
        await new Promise((done) => setTimeout(done, 300));
    };
    await page.evaluate(attempts);
    assert.equal(page.workers().length, 1);
    await page.workers()[0].evaluate(attempts);
    assert.deepEqual(proxy.requests.slice(before), []);
    const own = new Set(["", ...readdirSync(root)].map((name) => `http://localhost/${name}`));
    assert.deepEqual(proxy.requests.filter((url) => !own.has(url)), []);
});

test("a file may be dropped, and its facts copied", async () => {
    await browser.defaultBrowserContext().overridePermissions("http://localhost", ["clipboard-read", "clipboard-write", "clipboard-sanitized-write"]);
    const client = await page.createCDPSession();
    const data = { items: [], files: [path("sample.dng")], dragOperationsMask: 1 };
    for (const type of ["dragEnter", "dragOver", "drop"]) await client.send("Input.dispatchDragEvent", { type, x: 300, y: 100, data });
    await page.waitForFunction(() => document.querySelector(".card .facts")?.textContent.includes("DNG"));
    await page.bringToFront();
    await page.click(".card button");
    await page.waitForFunction(() => document.querySelector(".card [role=status]").textContent === "Copied.");
    const { status, ...facts } = run("release", "sample.dng").facts;
    assert.deepEqual(JSON.parse(await page.evaluate(() => navigator.clipboard.readText())), facts);
    await page.waitForFunction(() => document.querySelector(".card[open] canvas, .card[open] .picture p"));
});

test("it works without a network after the first load", async () => {
    proxy.reachable = false;
    const offline = await openPage(browser);
    assert.equal((await pick(offline, path("sample.jpg"))).rows.yaw, "270.5°");
    await offline.close();
    proxy.reachable = true;
});

test("a screen reader is told what there is", async () => {
    await pick(page, path("sample.mp4"));
    await page.waitForSelector("canvas.sphere");
    const names = [];
    const collect = ({ role, name, children = [] }) => {
        names.push(`${role}: ${name}`);
        children.forEach(collect);
    };
    collect(await page.accessibility.snapshot());
    for (const pattern of [/^application: First picture, 90°/m, /^slider: Frame/m, /^button: Choose files/m, /^heading: What it is/m])
        assert.match(names.join("\n"), pattern);
    assert.match(await page.$eval(".slider input", (slider) => slider.ariaValueText), /^frame 0, 0\.000 s, yaw 0\.0°, tilt 0\.0°$/);
    assert.match(await page.$eval("#status", (status) => status.textContent), /sample\.mp4: KESTO ZELVA Q7/);
});

test("it fits, in light, dark and on a phone", async () => {
    const looks = { light: {}, dark: { scheme: "dark" }, narrow: { width: 390, height: 844 } };
    for (const [name, options] of Object.entries(looks)) {
        const shown = await openPage(browser, options);
        await pick(shown, path("sample.mp4"));
        await look(shown);
        assert.ok(await shown.evaluate(() => document.documentElement.scrollWidth <= innerWidth), name);
        await shown.screenshot({ path: path(`${name}.png`), fullPage: true });
        await shown.close();
    }
    const weight = readdirSync(root).reduce((sum, name) => sum + gzipSync(readFileSync(join(root, name))).length, 0);
    assert.ok(weight < 400e3, `${weight} bytes`);
});
