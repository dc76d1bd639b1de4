/* global WORKER: the worker's source, put here by the build. A worker from a blob inherits the
   page's policy, which one from a file of its own would not. */
export class Reader {
    #worker = new Worker(URL.createObjectURL(new Blob([WORKER], { type: "text/javascript" })));
    #listeners = new Map();
    #count = 0;

    constructor() {
        this.#worker.onmessage = ({ data: { id, part, answer } }) => this.#listeners.get(id)(part, answer);
    }

    /** Calls `listen(part, answer)` with the parts "facts", "motion" and "boxes" as they come. */
    read(file, listen) {
        const id = this.#count++;
        this.#listeners.set(id, listen);
        this.#worker.postMessage({ id, file });
    }
}
