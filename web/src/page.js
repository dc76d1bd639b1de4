import { Card } from "./card.js";
import { element } from "./dom.js";
import { Reader } from "./reader.js";

const reader = new Reader();
const list = document.getElementById("files");
const drop = document.getElementById("drop");
const picker = document.getElementById("picker");
const status = document.getElementById("status");

function announce(text) {
    status.append(element("p", {}, text));
    if (status.childElementCount > 20) status.firstElementChild.remove();
}

function show(files) {
    const start = performance.now();
    for (const card of list.querySelectorAll(".card[open]")) card.open = false;
    const cards = [...files].map((file) => new Card(file, announce));
    for (const card of cards.slice(1)) card.element.open = false;
    list.prepend(...cards.map((card) => card.element));
    for (const card of cards) {
        reader.read(card.file, (part, answer) => {
            card.add(part, answer);
            performance.measure(`${part} ${card.file.name}`, { start });
        });
    }
}

picker.onchange = () => {
    show(picker.files);
    picker.value = "";
};

/* Over the whole page: a file that misses the field must not make the browser leave the page. */
addEventListener("dragover", (event) => {
    event.preventDefault();
    drop.classList.add("over");
});
for (const name of ["dragleave", "drop"]) addEventListener(name, () => drop.classList.remove("over"));
addEventListener("drop", (event) => {
    event.preventDefault();
    show(event.dataTransfer.files);
});

if ("serviceWorker" in navigator && location.protocol !== "file:") {
    navigator.serviceWorker.register("offline.js").catch(() => {});
}
