// Draws the picture of the page that README shows.
import { execFileSync } from "node:child_process";
import { resolve } from "node:path";
import { look, openPage, pick, startBrowser } from "../web/test/browser.mjs";

const { browser, stop } = await startBrowser(resolve("../build/web"));
const page = await openPage(browser, { width: 1100, height: 1190 });
await pick(page, resolve("../build/web-test/sample.mp4"));
await look(page);
await page.focus(".slider input");
for (let i = 0; i < 6; i++) await page.keyboard.press("PageUp");
await page.focus("canvas.sphere");
for (let i = 0; i < 10; i++) await page.keyboard.press("-");
await page.evaluate(() => document.activeElement.blur());
await look(page);
const drawn = resolve("../build/web-test/picture.png");
await page.screenshot({ path: drawn });
await stop();
// With few colours the file is a third as long.
const palette = "split[all][some];[all]palettegen=max_colors=64[colours];[some][colours]paletteuse=dither=none";
execFileSync("ffmpeg", ["-v", "error", "-y", "-i", drawn, "-vf", palette, resolve("../docs/page.png")]);
