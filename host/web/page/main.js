// The page: the modules, which of them the address names, and the history of requests.
import { call, find, keepFocus, make, quoted, remember, remembered, say } from "./server.js";
import { repeat, showModule } from "./module.js";
import { forget, history, isRunning, titleOf } from "./requests.js";
import "./device.js";

const modules = Object.create(null); // a module's name: what runs in each phase

/** The address is "#MODULE", or "#MODULE/ID" and "#MODULE/ID/ID" with requests of the history. */
function showAddress() {
    const [name, ...ids] = location.hash.slice(1).split("/"), phases = modules[name];
    if (name === "main") return; // the link that skips the modules
    find("#overview").hidden = Boolean(phases);
    find("#module").hidden = !phases;
    document.title = phases ? `${name} - Device` : "Device";
    find("nav [aria-current]")?.removeAttribute("aria-current");
    find(`nav [href="#${CSS.escape(name)}"]`)?.setAttribute("aria-current", "page");
    say(name && !phases ? `There is no module ${name}.` : "", true);
    keepFocus(showHistory);
    if (phases) showModule(name, phases, ids.slice(0, 2)).catch((error) => say(error.message, true));
}

/** The requests of the shown module, or of all. Two that are marked are compared. */
function showHistory() {
    const [name, ...ids] = location.hash.slice(1).split("/");
    const entries = history().filter(({ module }) => module in modules && (!modules[name] || module === name));
    find("#history tbody").replaceChildren(...entries.map((entry) => {
        const { id, module, action, request, result, took } = entry, title = titleOf(entry);
        const box = make("input", { type: "checkbox", id: `compare ${id}`, checked: ids.includes(id), "aria-label": `Compare ${title}`,
            onchange: () => {
                const marked = [...ids.filter((other) => other !== id), ...box.checked ? [id] : []].slice(-2);
                location.hash = [module, ...marked].join("/");
            } });
        const button = (label, use) => make("button", { id: `${label} ${id}`, "aria-label": `${label}: ${title}`,
            onclick: () => use().catch((error) => say(error.message, true)) }, label);
        const copy = (text) => () => navigator.clipboard.writeText(text).then(() => say("Copied."));
        return make("tr", {}, make("td", {}, box), make("td", {}, new Date(entry.time).toLocaleTimeString("en-GB")),
            make("th", { scope: "row" }, make("a", { href: `#${module}/${id}` }, title.replace(/ at .*/, ""))), make("td", {}, result),
            make("td", {}, `${took.toFixed(1)} ms`), make("td", {}, button("Repeat", () => repeat(entry)),
                button("Copy command", copy(`./run ${action} ${module} ${quoted(request)}`)), button("Copy XML", copy(request))));
    }));
    find("#forget").disabled = !entries.length;
}

// What is open stays open after a reload.
for (const details of document.querySelectorAll("details")) {
    details.open = remembered(`open ${details.id}`) === "true";
    details.addEventListener("toggle", () => remember(`open ${details.id}`, details.open));
}
for (const button of document.querySelectorAll("[data-open]")) {
    button.addEventListener("click", () => {
        const details = document.getElementById(button.dataset.open);
        details.open = true;
        details.scrollIntoView();
        details.querySelector("summary").focus();
    });
}
find("#forget").addEventListener("click", () => {
    forget();
    keepFocus(showHistory, find("#main"));
});
addEventListener("ended", () => keepFocus(showHistory));
addEventListener("beforeunload", (event) => { if (Object.keys(modules).some(isRunning)) event.preventDefault(); });
call("modules", {}, (lines) => {
    for (const { module, phases } of lines) if (module) modules[module] = phases;
}).then(() => {
    const scroll = ({ target }) => target.scrollIntoView({ block: "nearest", inline: "nearest" });
    const link = (name) => make("a", { href: `#${name}`, onfocus: scroll }, name);
    find("nav ul").append(...Object.keys(modules).map((name) => make("li", {}, link(name))));
    find("#overview tbody").append(...Object.entries(modules).map(([name, phases]) => {
        const cells = ["pre-set", "post-set", "pre-get", "post-get"].map((phase) => make("td", {}, phases[phase] ?? ""));
        return make("tr", {}, make("th", { scope: "row" }, link(name)), ...cells);
    }));
    addEventListener("hashchange", showAddress);
    showAddress();
}).catch((error) => say(error.message, true));
