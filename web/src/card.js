import { showBoxes } from "./boxes.js";
import { element, sizeText } from "./dom.js";
import { isStill, showFacts, summaryOf } from "./facts.js";
import { Motion } from "./motion.js";
import { Picture } from "./picture.js";

function section(title, ...children) {
    return element("section", {}, element("h3", {}, title), ...children);
}

/** Copies, or, where the browser does not let a page do it, leaves the text selected. */
async function copy(text, box) {
    try {
        await navigator.clipboard.writeText(text);
        box.textContent = "Copied.";
    } catch {
        const field = element("textarea", { value: text, readOnly: true, rows: 8, "aria-label": "The facts as JSON" });
        box.replaceChildren("Selected, to be copied.", field);
        field.select();
    }
}

/** One file on the page. What costs memory, picture and charts, lives while the card is open. */
export class Card {
    #answers = {};
    #living = [];

    /** `announce(text)` says something to those who do not see the page. */
    constructor(file, announce) {
        this.file = file;
        this.announce = announce;
        this.note = element("span", { className: "muted" }, "reading…");
        this.body = element("div", { className: "body" });
        const name = element("h2", {}, file.name);
        const about = element("span", { className: "about" }, sizeText(file.size), " · ", this.note);
        this.element = element("details", { className: "card", open: true }, element("summary", {}, name, about), this.body);
        this.element.addEventListener("toggle", () => (this.element.open ? this.#animate() : this.#rest()));
    }

    add(part, answer) {
        this.#answers[part] = answer;
        this[part](answer);
    }

    facts({ facts, error, output = "", warnings = [] }) {
        this.note.textContent = facts ? summaryOf(facts) : "cannot be read";
        this.announce(`${this.file.name}: ${facts ? summaryOf(facts) : error.message}`);
        if (facts) this.body.append(this.#known(facts));
        else this.body.append(element("p", { className: "error", role: "alert" }, error.message));
        const printed = output + warnings.map((line) => `Sondex: ${line}\n`).join("");
        if (!printed) return;
        this.body.append(
            element("details", { className: "printed" }, element("summary", {}, "What the program prints"), element("pre", { tabIndex: 0 }, printed)),
        );
    }

    #known(facts) {
        const { table, missing } = showFacts(facts);
        const said = element("span", { className: "muted", role: "status" });
        const button = element("button", { type: "button" }, "Copy as JSON");
        button.onclick = () => copy(JSON.stringify(facts, null, 2), said);
        this.pictureBox = element("div", { className: "picture" });
        const about = section("What it is", table, element("p", {}, button, " ", said));
        if (missing) about.append(element("details", {}, element("summary", {}, "What is missing, and why"), missing));
        this.motionBox = element("div", { className: "motion" });
        const parts = [section("First picture", this.pictureBox), about];
        if (!isStill(facts)) parts.push(section("Motion", this.motionBox));
        if (this.element.open) this.#showPicture(facts);
        return element("div", { className: "known" }, ...parts);
    }

    motion(answer) {
        if (this.motionBox && this.element.open) this.#showMotion(answer);
    }

    boxes(answer) {
        if (answer.error || answer.children.length === 0) return;
        const details = element("details", {}, element("summary", {}, "Boxes"), showBoxes(answer));
        this.body.append(details);
    }

    #showPicture(facts) {
        this.picture = new Picture(this.file, facts, this.pictureBox);
        this.#living.push(this.picture);
    }

    #showMotion(answer) {
        if (answer.error) return this.motionBox.replaceChildren(element("p", { className: "muted" }, answer.error.message));
        this.#living.push(new Motion(answer, this.motionBox, (seconds) => this.picture?.seek(seconds)));
    }

    #animate() {
        if (this.#living.length > 0 || !this.pictureBox) return;
        this.#showPicture(this.#answers.facts.facts);
        if (this.#answers.motion) this.#showMotion(this.#answers.motion);
    }

    #rest() {
        for (const part of this.#living) part.dispose();
        this.#living = [];
        this.pictureBox?.replaceChildren();
        this.motionBox?.replaceChildren();
    }
}
