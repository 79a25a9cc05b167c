// What a request did, on a time axis: a bar for each command and wait, files and log lines between them.
import { make } from "./server.js";

export class Timeline {
    #rows = make("ol");
    #title;
    end = 1; // milliseconds; all that are shown share the longest axis

    constructor(title) {
        this.#title = make("h4", {}, title);
        this.element = make("section", { className: "timeline" }, this.#title, this.#rows);
    }

    /** Takes a step as tarrow_trace --json tells it; the end of a command tells its time, when it is there. */
    add({ kind, text, at, took, exit }) {
        let row = [...this.#rows.querySelectorAll(".running")].find((running) => running.dataset.text === text);
        if (kind !== "ended") {
            row = make("li", { className: kind }, make("small", {}, at.toFixed(1)), make("small", {}, kind),
                make("code", {}, text, make("b")), make("i"));
            row.dataset.text = text;
            row.style.setProperty("--at", at);
            this.#rows.append(row);
        }
        row.classList.toggle("running", kind === "command");
        if (took !== undefined) {
            row.style.setProperty("--took", took);
            row.querySelector("b").textContent = ` ${took.toFixed(1)} ms${exit ? `, exit status ${exit}` : ""}`;
        }
        this.end = Math.max(this.end, at);
    }

    finish(took, result) {
        this.end = Math.max(this.end, took);
        this.#title.append(`: ${took.toFixed(1)} ms, ${result}`);
        if (!this.#rows.firstChild) this.element.append("No command, file or log line.");
        for (const row of this.#rows.querySelectorAll(".running")) {
            row.classList.remove("running");
            row.style.setProperty("--took", took - row.style.getPropertyValue("--at"));
        }
    }
}
