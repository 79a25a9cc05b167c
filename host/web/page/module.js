// The shown module: its form, its XML, and its requests. A request belongs to its module and goes on when another is shown.
import { cut, find, keepFocus, make, remember, remembered, say } from "./server.js";
import { describe, docsOf } from "./elements.js";
import { showForm } from "./form.js";
import { format, parse, valuesOf, withoutTexts } from "./xml.js";
import { compare, history, isRunning, send, stop, titleOf } from "./requests.js";
import { showSteps } from "./waterfall.js";

const asked = new Set(["reboot", "restore_defaults"]); // reading these changes the device
const states = new Map(); // a module's name: {name, elements, request, read, write, values, shown}
let shown; // the state of the shown module

/** Shows a module, and of its history the requests with some ids instead of the last ones. Reads it when it is new. */
export async function showModule(name, phases, ids) {
    const docs = await docsOf(name);
    const state = states.get(name) ?? await open(name, docs);
    if (location.hash.slice(1).split("/")[0] !== name) return; // another was chosen meanwhile
    if (shown && shown !== state) for (const box of [document.documentElement, find("main")]) box.scrollTop = 0;
    shown = state;
    find("#name").textContent = name;
    find("#phases").textContent = Object.entries(phases).map(([phase, what]) => `${phase}: ${what}`).join(", ");
    find("article").replaceChildren(...docs.body.childNodes);
    find("article").scrollTop = 0;
    state.ids = ids;
    showAll();
    if (!state.wasRead && !asked.has(name) && !ids.length) await request(state, "get");
}

async function open(name, docs) {
    const state = { name, shown: [], ids: [], ...await describe(name, docs) };
    state.lists = new Set(state.elements.filter(({ fields }) => fields).map(({ path }) => path));
    state.parameters = new Set(state.elements.filter(({ isParameter }) => isParameter).map(({ path }) => path));
    const draft = (kind, text) => remembered(`${kind} ${name}`) ?? text;
    setTree(state, "read", draft("read", format(state.request)));
    setTree(state, "write", draft("write", format(empty(state))));
    take(state, history().find(({ module, action, answer }) => module === name && action === "get" && answer));
    states.set(name, state);
    return state;
}

const empty = ({ request }) => request.cloneNode(false);

/** Takes the text of the read or the write request, and its tree if it is well-formed. */
function setTree(state, kind, text) {
    state[`${kind}Text`] = text;
    try {
        state[kind] = parse(text);
        const isOwn = state[kind].tagName === state.name;
        state[`${kind}Fault`] = isOwn ? "" : `The element of this module is <${state.name}>.`;
        if (!isOwn) state[kind] = undefined;
    } catch (error) {
        state[kind] = undefined;
        state[`${kind}Fault`] = error.message;
    }
    remember(`${kind} ${state.name}`, text);
}

/** Takes the values of an answer that reads. Says what is wrong with it, or nothing. */
function take(state, entry) {
    if (!entry) return "";
    try {
        state.values = valuesOf(parse(entry.answer), state.lists);
        return "";
    } catch (error) {
        return ` The answer: ${error.message}`;
    }
}

function showAll() {
    showForm(shown, changed);
    showXml();
    showRequests();
}

function changed(kind) {
    shown[`${kind}Text`] = format(shown[kind]);
    remember(`${kind} ${shown.name}`, shown[`${kind}Text`]);
    showXml();
}

function showXml() {
    for (const kind of ["read", "write"]) {
        const area = find(`#${kind}-xml`), fault = shown[`${kind}Fault`];
        if (area.value !== shown[`${kind}Text`]) area.value = shown[`${kind}Text`];
        area.setAttribute("aria-invalid", Boolean(fault));
        find(`#${kind}-fault`).textContent = fault;
    }
    keepFocus(() => {
        const isBusy = isRunning(shown.name), hasChanges = Boolean(shown.write?.children.length);
        find("#read").disabled = isBusy || !shown.read;
        find("#write").disabled = isBusy || !hasChanges;
        find("#discard").disabled = shown.write && !hasChanges;
    }, find("#name"));
}

/** Shows the steps and the answer of the module's last requests, or of those in the address. */
function showRequests() {
    const entries = shown.ids.length ? shown.ids.map((id) => history().find((entry) => entry.id === id)).filter(Boolean) : shown.shown;
    showSteps(entries);
    const [first, second] = entries.map(({ answer }) => answer.split("\n").map((line) => cut(line)).join("\n"));
    const isCompared = shown.ids.length === 2 && second !== undefined;
    find("#answer-title").textContent = isCompared ? "Answers compared: - the first, + the second"
        : entries.length ? `Answer: ${titleOf(entries[0])}` : "Answer";
    find("#answer").replaceChildren(...isCompared ? compare(first, second).map((line) =>
        make({ "-": "del", "+": "ins", " ": "span" }[line[0]], {}, `${line}\n`)) : [first ?? ""]);
}

/** Runs a request of a module, shows it, and says once how it ended. After a write the module is read again. */
async function request(state, action, text) {
    if (isRunning(state.name)) return;
    if (asked.has(state.name) && action === "get" && !confirm(`Reading ${state.name} runs it on the device. Do it?`)) return;
    if (action === "get" && !text) {
        state.read = withoutTexts(state.read, state.parameters);
        state.readText = format(state.read);
    }
    state.wasRead ||= action === "get";
    state.ids = [];
    if (state === shown && location.hash !== `#${state.name}`) globalThis.history.replaceState(null, "", `#${state.name}`);
    const before = state.shown[0];
    let isDrawn = false;
    const update = (entry) => {
        state.shown = [entry, ...before ? [before] : []];
        if (isDrawn || state !== shown) return;
        isDrawn = true;
        setTimeout(() => {
            isDrawn = false;
            if (state === shown) showRequests();
        }, entry.result ? 0 : 250);
    };
    const sent = send(state.name, action, text ?? state[`${action === "get" ? "read" : "write"}Text`], update);
    if (state === shown) showXml();
    const entry = await sent;
    let trouble = action === "get" ? take(state, entry.answer && entry) : "", again = "";
    if (action === "set" && entry.status !== undefined && !asked.has(state.name)) {
        if (entry.status === 0 && !text) setTree(state, "write", format(empty(state)));
        const read = await send(state.name, "get", format(withoutTexts(state.request, state.parameters)), () => {});
        trouble = take(state, read.answer && read);
        again = `; read again: ${read.result}`;
    }
    if (state === shown) showAll();
    say(`${titleOf(entry)}: ${entry.result} in ${entry.took.toFixed(1)} ms${again}. ${entry.errors}${trouble}`,
        entry.status !== 0 || Boolean(trouble));
    dispatchEvent(new Event("ended"));
}

/** Sends a request of the history again. */
export async function repeat({ module, action, request: sent }) {
    const state = states.get(module) ?? await open(module, await docsOf(module));
    return request(state, action, sent);
}

for (const kind of ["read", "write"]) {
    find(`#${kind}-xml`).addEventListener("input", ({ target }) => {
        setTree(shown, kind, target.value);
        showForm(shown, changed);
        showXml();
    });
}
find("#read").addEventListener("click", () => request(shown, "get"));
find("#write").addEventListener("click", () => request(shown, "set"));
find("#discard").addEventListener("click", () => {
    setTree(shown, "write", format(empty(shown)));
    showAll();
});
find("#all").addEventListener("click", () => {
    setTree(shown, "read", format(shown.request));
    showAll();
});
addEventListener("keydown", (event) => {
    if (find("#module").hidden || !shown) return;
    if (event.key === "Enter" && event.ctrlKey && !find("#read").disabled) {
        event.preventDefault();
        request(shown, "get");
    }
    if (event.key === "Escape") stop(shown.name);
});
