import { element, grouped } from "./dom.js";

const atOnce = 200;

function line(box) {
    const parts = [
        element("code", {}, box.type),
        element("span", { className: "muted" }, ` ${grouped(box.size)} bytes at ${grouped(box.offset)}`),
    ];
    const fields = Object.entries(box.fields);
    if (fields.length > 0) {
        const text = fields.map(([name, value]) => `${name} ${value}`).join(", ");
        parts.push(element("span", { className: "fields" }, text.length > 300 ? `${text.slice(0, 300)}…` : text));
    }
    return parts;
}

/** Adds some children to a list and, while there are more, a button for the next. */
function append(list, boxes, from = 0) {
    for (const box of boxes.slice(from, from + atOnce)) {
        const item = element("li");
        if (box.children.length === 0) {
            item.append(...line(box));
        } else {
            item.append(branch(box));
        }
        list.append(item);
    }
    const left = boxes.length - from - atOnce;
    if (left <= 0) return;
    const more = element("button", { type: "button" }, `${left} more`);
    const item = element("li", {}, more);
    more.onclick = () => {
        item.remove();
        append(list, boxes, from + atOnce);
    };
    list.append(item);
}

/** A box with children, which are made when it is opened first. */
function branch(box) {
    const list = element("ul");
    const details = element("details", {}, element("summary", {}, ...line(box)), list);
    details.addEventListener("toggle", () => append(list, box.children), { once: true });
    return details;
}

/** The box tree; the movie box and its like open at the top. */
export function showBoxes({ children, omitted }) {
    const list = element("ul", { className: "boxes" });
    append(list, children);
    for (const details of list.querySelectorAll(":scope > li > details")) details.open = true;
    if (omitted > 0) list.append(element("li", {}, `${grouped(omitted)} further boxes are not shown.`));
    return list;
}
