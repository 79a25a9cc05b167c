// Requests that run, and the history of those that have ended. It is kept in the browser.
import { call, cut, find, keepFocus, make, say } from "./server.js";

const results = { 0: "answered", 1: "not answered", 2: "a wrong request", 3: "answered, but something was refused" };
const prefix = "request ", entryLimit = 100, stepLimit = 200;
const running = new Map(); // a module's name: {entry, controller}

export const isRunning = (module) => running.has(module);
export const stop = (module) => running.get(module)?.controller.abort();
export const titleOf = ({ action, module, time }) =>
    `${action === "get" ? "Read" : "Write"} ${module} at ${new Date(time).toLocaleTimeString("en-GB")}`;

/** Runs a request. Its entry grows while it runs; update(entry) is called when something has come, and at the end. */
export async function send(module, action, request, update) {
    const controller = new AbortController(), time = Date.now();
    const entry = { id: `${time.toString(36)}${Math.floor(Math.random() * 1296).toString(36)}`, time, module, action, request,
        answer: "", status: undefined, took: 0, errors: "", steps: [], more: 0 };
    running.set(module, { entry, controller });
    showRunning();
    const commands = new Map(); // that run
    let end;
    const take = (step) => {
        const { kind, text } = step;
        entry.took = Math.max(entry.took, step.at ?? 0);
        if (kind === "end") end = step;
        else if (kind === "answer") Object.assign(entry, { answer: text, status: step.status, took: step.took, errors: step.errors });
        else if (kind === "ended" && commands.has(text)) {
            Object.assign(commands.get(text), { took: step.took, exit: step.exit });
            commands.delete(text);
        } else if (entry.steps.length >= stepLimit && (kind === "error" || entry.steps.length >= 2 * stepLimit)) entry.more++;
        else {
            entry.steps.push({ ...step, text: cut(text) });
            if (kind === "command") commands.set(text, entry.steps.at(-1));
        }
    };
    const clock = setInterval(() => showRunning(), 1000);
    try {
        await call(`${action}/${module}`, { method: "POST", body: request, signal: controller.signal }, (steps) => {
            steps.forEach(take);
            update(entry);
        });
        if (entry.status === undefined) entry.errors = `The request ended without an answer. ${end?.errors ?? ""}`;
        entry.result = results[entry.status] ?? `ended with exit status ${entry.status ?? end?.status}`;
    } catch (error) {
        entry.result = error.name === "AbortError" ? "stopped" : "not answered";
        if (error.name !== "AbortError") entry.errors = error.message;
    }
    clearInterval(clock);
    running.delete(module);
    keepFocus(showRunning);
    save(entry);
    update(entry);
    return entry;
}

function showRunning() {
    const list = find("#running");
    for (const item of [...list.children]) if (!running.has(item.dataset.module)) item.remove();
    for (const [module, { entry, controller }] of running) {
        let item = [...list.children].find((child) => child.dataset.module === module);
        if (!item) {
            const button = make("button", { id: `stop ${module}`, onclick: () => controller.abort() }, `Stop ${module}`);
            item = make("li", { "data-module": module }, make("span"), button);
            list.append(item);
        }
        const step = entry.steps.findLast(({ kind, took }) => kind === "command" && took === undefined);
        item.firstChild.textContent = `${Math.round((Date.now() - entry.time) / 1000)} s ${cut(step?.text ?? "", 60)}`;
    }
}

/** All requests that have ended, the newest first. */
export const history = () => keys().reverse().map((key) => JSON.parse(localStorage.getItem(key)));
const keys = () => Object.keys(localStorage).filter((key) => key.startsWith(prefix)).sort();

function save(entry) {
    for (const key of keys().slice(0, 1 - entryLimit)) localStorage.removeItem(key);
    for (const oldest of [...keys(), undefined]) {
        try {
            localStorage.setItem(`${prefix}${entry.id}`, JSON.stringify(entry));
            return;
        } catch { // it is full
            if (oldest) localStorage.removeItem(oldest);
        }
    }
    say("The browser has no room for this request in the history.", true);
}

export const forget = () => keys().forEach((key) => localStorage.removeItem(key));

/** The lines of two texts: " same", "-only in the first", "+only in the second". */
export function compare(first, second) {
    const [a, b] = [first, second].map((text) => text.split("\n").slice(0, 1000));
    const lengths = Array.from({ length: a.length + 1 }, () => new Uint16Array(b.length + 1)); // of what is common from there on
    for (let i = a.length - 1; i >= 0; i--) {
        for (let j = b.length - 1; j >= 0; j--) {
            lengths[i][j] = a[i] === b[j] ? lengths[i + 1][j + 1] + 1 : Math.max(lengths[i + 1][j], lengths[i][j + 1]);
        }
    }
    const lines = [];
    for (let i = 0, j = 0; i < a.length || j < b.length;) {
        if (i < a.length && j < b.length && a[i] === b[j]) lines.push(` ${a[i++]}`), j++;
        else if (i < a.length && (j === b.length || lengths[i + 1][j] >= lengths[i][j + 1])) lines.push(`-${a[i++]}`);
        else lines.push(`+${b[j++]}`);
    }
    return lines;
}
