// A module: its request, the answer, what the request did, and the documentation.
import { make, read, run, runTool, tell } from "./server.js";
import { parse, postable, readRequest, values, writeRequest } from "./xml.js";
import { Timeline } from "./timeline.js";

const hostile = {
    "a quote and a command": "';reboot;'",
    "a command's output": "$(reboot)",
    "markup with a script": '"><img src=x onerror=alert(1)>',
    "5,000 letters": "x".repeat(5000),
    "two lines": "one\ntwo",
};
const results = { 0: "answered", 1: "not answered", 2: "wrongly asked", 3: "answered, but something was refused" };
const find = (selector) => document.querySelector(selector);
const [xml, fields, timelines] = ["#xml", "#values form", "#timelines"].map(find);
let module, field, controller, shown = [];

export async function show(name, phases) {
    controller?.abort();
    module = name;
    find("h2").textContent = name;
    find("#phases").replaceChildren(...Object.entries(phases).flatMap(([phase, what]) =>
        [make("dt", {}, phase), make("dd", {}, what)]));
    xml.value = "";
    showAnswer("");
    showDocs(name);
    const page = await read(`/elements/${name}`), stored = [];
    if (!page) { // a module of scripts: the settings that it has
        await runTool(["cfgdb_cmd", "list", name], (line) => stored.push([line.split(" ")[1], ""]));
    }
    if (module !== name) return; // another was chosen meanwhile
    fields.replaceChildren(...(page ? postable(parse(page)) : stored.map(([path]) => path)).map((path) =>
        make("label", {}, path, make("textarea", { name: path, rows: 1, spellcheck: false }))));
    field = fields.querySelector("textarea");
    xml.defaultValue = xml.value = page ? readRequest(parse(page)) : writeRequest(name, stored);
}

async function showDocs(name) {
    const page = new DOMParser().parseFromString(await read(`/docs/${name}`), "text/html");
    for (const link of page.querySelectorAll("a")) { // to another module, or else to a file that is not here
        const [, other] = link.getAttribute("href").match(/^([a-z_]+)\.md$/) ?? [];
        if (other) link.href = `#${other}`;
        else link.replaceWith(...link.childNodes);
    }
    if (module === name) find("article").replaceChildren(...page.body.childNodes);
}

async function send(action) {
    const timeline = new Timeline(`${action === "get" ? "Read" : "Write"} ${module}`), start = performance.now();
    const { signal } = controller = new AbortController();
    let answer, step = "", trouble = "";
    shown = [timeline, ...shown].slice(0, 2); // the one before stays beside it
    timelines.replaceChildren(...shown.map(({ element }) => element));
    const elapsed = () => performance.now() - start;
    const draw = () => timelines.style.setProperty("--total", Math.max(...shown.map(({ end }) => end)));
    const clock = setInterval(() => {
        timeline.end = elapsed();
        draw();
        tell(`${module}: ${(elapsed() / 1000).toFixed(1)} s ${step}`);
    }, 500);
    tell(`${module}: asked`);
    setBusy(true);
    try {
        const exit = await run(`/${action}/${module}`, { method: "POST", body: xml.value, signal }, (line) => {
            if (!line.startsWith("{")) {
                trouble += ` ${line}`;
                return;
            }
            const event = JSON.parse(line);
            if (event.kind === "answer") answer = event;
            else timeline.add(event);
            if (event.kind === "command") step = event.text;
        });
        if (!answer) throw new Error(`The request ended without an answer, with exit status ${exit}.${trouble}`);
        const { text, status, took, errors } = answer;
        const result = results[status] ?? `broken off with exit status ${status}`;
        timeline.finish(took, result);
        showAnswer(text);
        tell(`${module}: ${result} in ${took.toFixed(1)} ms. ${errors}`, status !== 0);
    } catch (error) {
        timeline.finish(elapsed(), "broken off");
        if (error.name === "AbortError") tell("The request was stopped, and all that it had started.");
        else tell(error.message, true);
    }
    clearInterval(clock);
    draw();
    if (signal === controller.signal) setBusy(false);
}

function setBusy(isBusy) {
    for (const button of document.querySelectorAll("#request [value]")) button.disabled = isBusy;
    find("#stop").disabled = !isBusy;
}

function showAnswer(text) {
    find("#answer-xml").textContent = text;
    find("#answer tbody").replaceChildren(...(text.trim() ? values(parse(text)) : []).map(([path, value]) =>
        make("tr", {}, make("th", { scope: "row" }, path), make("td", {}, value))));
}

find("#request").addEventListener("submit", (event) => {
    event.preventDefault();
    send(event.submitter.value);
});
find("#stop").addEventListener("click", () => controller.abort());
fields.addEventListener("submit", (event) => event.preventDefault());
fields.addEventListener("focusin", (event) => { field = event.target; });
fields.addEventListener("input", (event) => { // what was changed is what is posted
    event.target.classList.add("changed");
    xml.value = writeRequest(module, [...fields.querySelectorAll(".changed")].map(({ name, value }) => [name, value]));
});
const examples = find("#values select");
examples.append(make("option", {}, "…"), ...Object.keys(hostile).map((name) => make("option", {}, name)));
examples.addEventListener("change", () => {
    if (field) field.value = hostile[examples.value] ?? "";
    field?.dispatchEvent(new Event("input", { bubbles: true }));
    examples.selectedIndex = 0;
});
