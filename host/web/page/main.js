// The page: the list of modules, and which of them is shown.
import { make, run, tell } from "./server.js";
import { show } from "./request.js";
import "./device.js";

const modules = Object.create(null); // a module's name: what runs in each phase

function showPage() {
    const name = location.hash.slice(1), phases = modules[name];
    document.getElementById("overview").hidden = Boolean(phases);
    document.getElementById("module").hidden = !phases;
    document.querySelector("nav [aria-current]")?.removeAttribute("aria-current");
    document.querySelector(`nav [href="#${CSS.escape(name)}"]`)?.setAttribute("aria-current", "page");
    tell(name && !phases ? "There is no module of that name." : "", true);
    if (phases) show(name, phases).catch((error) => tell(error.message, true));
}

run("/modules", {}, (line) => {
    const [, name] = line.match(/^ *\d+ (\w+)/) ?? [], [, phase, what] = line.match(/^ {5}(\S+) +(.*)/) ?? [];
    if (name) modules[name] = {};
    else if (phase) Object.values(modules).at(-1)[phase] = what;
}).then(() => {
    const breakable = (text) => text.split(/(?<=[/_])/).flatMap((part) => [part, make("wbr")]);
    const link = (name) => make("a", { href: `#${name}` }, name);
    document.querySelector("nav ul").append(...Object.keys(modules).map((name) => make("li", {}, link(name))));
    document.querySelector("#overview tbody").append(...Object.entries(modules).map(([name, phases]) => {
        const cells = ["pre-set", "post-set", "pre-get", "post-get"].map((phase) =>
            make("td", {}, ...breakable(phases[phase] ?? "")));
        return make("tr", {}, make("th", { scope: "row" }, link(name)), ...cells);
    }));
    addEventListener("hashchange", showPage);
    showPage();
}).catch((error) => tell(error.message, true));
