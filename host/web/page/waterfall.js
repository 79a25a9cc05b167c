// What requests did: a line for each step, a bar on a scale that all shown requests share, and between the steps the
// library's own time.
import { find, keepFocus, make, remember, remembered } from "./server.js";
import { titleOf } from "./requests.js";

const hidden = new Set(JSON.parse(remembered("hidden steps") ?? "[]")); // kinds, and "short"
let shown = [];

/** Shows the steps of requests. */
export function showSteps(entries) {
    shown = entries;
    const total = Math.max(1, ...entries.map(({ took }) => took));
    const kinds = [...new Set(entries.flatMap(({ steps }) => steps.map(({ kind }) => kind)))].sort();
    const box = find("#steps");
    box.style.setProperty("--tick", `${tickOf(total) / total * 100}%`);
    keepFocus(() => box.replaceChildren(...entries.length ? [filters(kinds), ...entries.map((entry) => section(entry, total))] : []));
}

function filters(kinds) {
    const boxes = [["short", "shorter than 1 ms"], ...kinds.map((kind) => [kind, kind])].map(([name, label]) => {
        const box = make("input", { type: "checkbox", id: `show ${name}`, checked: !hidden.has(name), onchange: () => {
            if (box.checked) hidden.delete(name);
            else hidden.add(name);
            remember("hidden steps", JSON.stringify([...hidden]));
            showSteps(shown);
        } });
        return make("label", {}, box, ` ${label}`);
    });
    return make("fieldset", { className: "filters" }, make("legend", {}, "Show steps"), ...boxes);
}

/** The distance of the scale's ticks: 1, 2 or 5 and zeros, at most eight of them. */
function tickOf(total) {
    const power = 10 ** Math.floor(Math.log10(total / 8));
    return [1, 2, 5, 10].map((factor) => factor * power).find((tick) => total / tick <= 8);
}

function section(entry, total) {
    const title = make("h3", {}, `${titleOf(entry)}: ${entry.result ?? "running"}, ${entry.took.toFixed(1)} ms`);
    const tick = tickOf(total), ticks = [];
    for (let at = 0; at <= total; at += tick) {
        ticks.push(make("span", { style: `--at: ${at / total * 100}%` }, at ? `${Math.round(at * 10) / 10}` : "ms"));
    }
    const scale = make("th", { scope: "col", className: "scale", "aria-label": "Scale in milliseconds" }, ...ticks);
    const head = ["At", "Library", "Kind", "Step", "Took"].map((name) => make("th", { scope: "col" }, name));
    const body = make("tbody"), sums = { command: 0, wait: 0 };
    let end = 0; // of the step before
    const bar = (kind, from, to) => make("i", { className: kind,
        style: `--at: ${from / total * 100}%; --took: ${Math.max(0, to - from) / total * 100}%` });
    const row = (kind, at, own, text, took, bars) => make("tr", { className: kind }, make("td", {}, at.toFixed(1)),
        make("td", {}, own >= 0.05 ? own.toFixed(1) : ""), make("td", {}, kind), make("td", { className: "text", title: text },
            make("code", {}, text)), make("td", {}, took), make("td", { className: "bars" }, ...bars));
    for (const { at, kind, text, took, exit } of entry.steps) {
        const own = Math.max(0, at - end), isOpen = kind === "command" && took === undefined;
        const last = isOpen ? Math.max(entry.took, at) : at + (kind === "pipe" ? 0 : took ?? 0);
        const bars = [bar("own", end, at), bar(kind, at, last)];
        if (kind in sums) sums[kind] += last - at;
        end = Math.max(end, last);
        if (hidden.has(kind) || (hidden.has("short") && !isOpen && !(took >= 1))) continue;
        const length = isOpen ? "runs" : took === undefined ? "" : `${took.toFixed(1)}${exit ? `, exit ${exit}` : ""}`;
        body.append(row(kind, at, own, text, length, bars));
    }
    if (entry.more) body.append(row("error", end, 0, `... ${entry.more} more lines`, "", []));
    body.append(row("end", entry.took, Math.max(0, entry.took - end), "the handlers have ended", "", [bar("own", end, entry.took)]));
    return make("section", { className: "waterfall" }, title, make("p", {}, `Of this, commands took ${sums.command.toFixed(1)} ms, ` +
        `waits ${sums.wait.toFixed(1)} ms, and the library itself ${Math.max(0, entry.took - sums.command - sums.wait).toFixed(1)} ms.`),
        make("table", {}, make("thead", {}, make("tr", {}, ...head, scale)), body));
}
