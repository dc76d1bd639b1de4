/** Makes an element; properties whose name has a hyphen, and "role", become attributes. */
export function element(name, properties = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (key.includes("-") || key === "role") made.setAttribute(key, value);
        else if (key === "dataset") Object.assign(made.dataset, value);
        else made[key] = value;
    }
    made.append(...children);
    return made;
}

/** Digits in groups of three; the blanks between them do not break and are no commas. */
export function grouped(number) {
    return String(number).replace(/\B(?=(\d{3})+$)/g, "\u202f");
}

export function sizeText(bytes) {
    const units = ["bytes", "kB", "MB", "GB", "TB"];
    const power = Math.min(Math.floor(Math.log10(Math.max(bytes, 1)) / 3), units.length - 1);
    return `${power ? (bytes / 1000 ** power).toPrecision(3) : bytes} ${units[power]}`;
}
