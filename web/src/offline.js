/* global VERSION, FILES: the page's files and a digest of them, put here by the build. */
const here = new URL("./", location.href);

addEventListener("install", (event) => {
    const store = async () => (await caches.open(VERSION)).addAll(FILES.map((name) => new Request(new URL(name, here), { cache: "reload" })));
    event.waitUntil(store().then(() => skipWaiting()));
});

addEventListener("activate", (event) => {
    const dropOld = async () => {
        for (const name of await caches.keys()) if (name.startsWith("sondex-") && name !== VERSION) await caches.delete(name);
    };
    event.waitUntil(dropOld().then(() => clients.claim()));
});

addEventListener("fetch", (event) => {
    const answer = async () => {
        const kept = await (await caches.open(VERSION)).match(event.request, { ignoreSearch: true });
        return kept ?? fetch(event.request);
    };
    if (event.request.url.startsWith(here.href)) event.respondWith(answer());
});
