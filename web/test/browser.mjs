// Chromium with the page, and a record of every request that leaves the browser for anywhere.
import { readFileSync } from "node:fs";
import { createServer } from "node:http";
import { extname, join } from "node:path";
import puppeteer from "puppeteer-core";

const types = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css" };

const options = "--no-sandbox --disable-gpu --enable-unsafe-swiftshader --disable-quic --no-first-run --disable-background-networking --disable-component-update --disable-sync";

/** Asked by the browser for itself, with or without a page. */
const browsersOwn = /\b(googleapis|google|gvt1)\.com\b/;

/** The browser's proxy for all hosts, its own machine's included; serves the page as any static
    server would and lets nothing through. */
class Proxy {
    requests = [];
    reachable = true;

    constructor(root) {
        this.server = createServer((request, response) => {
            this.record(request.url);
            const { hostname, pathname } = new URL(request.url, "http://localhost/");
            if (!this.reachable) return request.socket.destroy();
            const name = pathname === "/" ? "index.html" : pathname.slice(1);
            try {
                const content = hostname === "localhost" && readFileSync(join(root, name));
                response.writeHead(200, { "content-type": types[extname(name)] }).end(content);
            } catch {
                response.writeHead(404).end();
            }
        });
        for (const event of ["connect", "upgrade"])
            this.server.on(event, (request, socket) => {
                this.record(`${event} ${request.url}`);
                socket.destroy();
            });
    }

    record(url) {
        if (!browsersOwn.test(url)) this.requests.push(url);
    }
}

export async function startBrowser(root) {
    const proxy = new Proxy(root);
    await new Promise((done) => proxy.server.listen(0, "127.0.0.1", done));
    const browser = await puppeteer.launch({
        executablePath: "/usr/bin/chromium",
        protocolTimeout: 60000,
        args: [...options.split(" "), `--proxy-server=127.0.0.1:${proxy.server.address().port}`, "--proxy-bypass-list=<-loopback>"],
    });
    const stop = async () => {
        await browser.close();
        proxy.server.closeAllConnections?.();
        proxy.server.close();
    };
    return { browser, proxy, stop };
}

/** Opens the page and waits until it is kept for later. */
export async function openPage(browser, { width = 1200, height = 900, scheme = "light" } = {}) {
    const page = await browser.newPage();
    await page.setViewport({ width, height });
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    await page.goto("http://localhost/");
    await page.evaluate(() => navigator.serviceWorker.ready.then(() => true));
    return page;
}

/** Picks a file and waits for all that the page says about it. */
export async function pick(page, path) {
    await page.evaluate(() => performance.clearMeasures());
    await (await page.$("#picker")).uploadFile(path);
    await page.waitForFunction((mark) => performance.getEntriesByName(mark).length > 0, { timeout: 60000 }, `boxes ${path.split("/").pop()}`);
    return page.evaluate(() => {
        const card = document.querySelector(".card");
        return {
            rows: Object.fromEntries([...card.querySelectorAll(".facts tr")].map((row) => [row.dataset.key, row.cells[1].textContent])),
            error: card.querySelector(".error")?.textContent,
            printed: card.querySelector("pre")?.textContent,
        };
    });
}

/** Waits for the picture; returns it and the colour in its middle. */
export async function look(page) {
    await page.waitForSelector(".card[open] canvas.sphere");
    return page.evaluate(async () => {
        await new Promise((done) => setTimeout(done, 300));
        const canvas = document.querySelector("canvas.sphere");
        const copy = document.createElement("canvas");
        copy.width = copy.height = 1;
        const context = copy.getContext("2d");
        context.drawImage(canvas, canvas.width / 2, canvas.height / 2, 1, 1, 0, 0, 1, 1);
        return { middle: [...context.getImageData(0, 0, 1, 1).data.slice(0, 3)], whole: canvas.toDataURL() };
    });
}
