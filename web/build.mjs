// Puts the page's files into build/web: a script with everything in it, a style sheet, the page and
// what keeps it for later without a network.
import { createHash } from "node:crypto";
import { copyFileSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { basename } from "node:path";
import { deflateSync, gzipSync } from "node:zlib";
import { build } from "esbuild";

const out = "../build/web";

async function script(source, define) {
    const { outputFiles } = await build({
        entryPoints: [source],
        bundle: true,
        minify: true,
        write: false,
        format: "iife",
        target: "es2022",
        define,
        logOverride: { "empty-import-meta": "silent" },
        external: ["fs", "path", "module"],
    });
    return outputFiles[0].text;
}

const quoted = (text) => JSON.stringify(text);

// The page that `sondexkit motion --html` writes has the same charts by the same library, of which the
// tree keeps a copy.
for (const name of ["LICENSE", "dist/uPlot.iife.min.js", "dist/uPlot.min.css"]) {
    const kept = `../third-party/uplot/${basename(name)}`;
    if (!readFileSync(kept).equals(readFileSync(`node_modules/uplot/${name}`)))
        throw new Error(`${kept} is not of the version that package.json names`);
}

rmSync(out, { recursive: true, force: true });
mkdirSync(out, { recursive: true });
const wasm = deflateSync(readFileSync("../build/wasm/sondex-page.wasm"), { level: 9 });
const worker = await script("src/worker.js", { WASM: quoted(wasm.toString("base64")) });
writeFileSync(`${out}/page.js`, await script("src/page.js", { WORKER: quoted(worker) }));
await build({ entryPoints: ["page.css"], bundle: true, minify: true, outfile: `${out}/page.css` });
copyFileSync("index.html", `${out}/index.html`);

const files = ["index.html", "page.css", "page.js"];
const digest = createHash("sha256");
for (const name of files) digest.update(readFileSync(`${out}/${name}`));
writeFileSync(
    `${out}/offline.js`,
    await script("src/offline.js", {
        VERSION: quoted(`sondex-${digest.digest("hex").slice(0, 16)}`),
        FILES: JSON.stringify(["./", ...files]),
    }),
);

const weight = [...files, "offline.js"].reduce((sum, name) => sum + gzipSync(readFileSync(`${out}/${name}`)).length, 0);
console.log(`build/web: ${weight} bytes, compressed`);
