import createModule from "../../build/wasm/sondex-page.mjs";

/* global WASM: the module, deflated and in base64, put here by the build so that the page needs no
   request for it: its policy allows none. */
const compiled = (async () => {
    const bytes = Uint8Array.from(atob(WASM), (c) => c.charCodeAt(0));
    const inflated = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate"));
    return WebAssembly.compile(await new Response(inflated).arrayBuffer());
})();

async function newInstance() {
    const module = await compiled;
    return createModule({
        locateFile: (name) => name,
        instantiateWasm(imports, done) {
            WebAssembly.instantiate(module, imports).then(done);
            return {};
        },
    });
}

let spare = newInstance();

/** An instance of its own for each file, since what a hostile one does to memory goes with it; made
    ahead, so that no file waits for it. */
async function instanceFor(file) {
    const instance = await spare;
    spare = undefined;
    instance.FS.mkdir("/file");
    instance.FS.mount(instance.WORKERFS, { blobs: [{ name: file.name, data: file }] }, "/file");
    instance.FS.chdir("/file");
    return instance;
}

/** A word that begins with a hyphen would be an option. */
function pathOf(file) {
    return file.name.startsWith("-") ? `./${file.name}` : file.name;
}

function tablesOf(instance, motion) {
    for (const table of motion.tables ?? []) {
        const start = table.at / Float64Array.BYTES_PER_ELEMENT;
        table.columns = Object.fromEntries(
            table.columns.map((name, i) => [
                name,
                instance.HEAPF64.slice(start + i * table.rows, start + (i + 1) * table.rows),
            ]),
        );
    }
    return motion;
}

const parts = {
    facts: (instance, path) => JSON.parse(instance.ccall("sondexFacts", "string", ["string"], [path])),
    motion: (instance, path) =>
        tablesOf(instance, JSON.parse(instance.ccall("sondexMotion", "string", ["string"], [path]))),
    boxes: (instance, path) => JSON.parse(instance.ccall("sondexBoxes", "string", ["string"], [path])),
};

/** One file after the other, so that the first that was dropped answers first. */
let last = Promise.resolve();
onmessage = ({ data: { id, file } }) => {
    last = last.then(async () => {
        spare ??= newInstance();
        let instance;
        for (const [part, read] of Object.entries(parts)) {
            let answer;
            try {
                instance ??= await instanceFor(file);
                answer = read(instance, pathOf(file));
            } catch (problem) {
                // The file went away or changed under the reading, or is a folder.
                instance = undefined;
                answer = { error: { code: "ioFailed", message: `${file.name}: ${problem.message ?? problem}` } };
            }
            postMessage({ id, part, answer });
            if (!instance) spare ??= newInstance();
        }
        spare ??= newInstance();
    });
};
