// What the device is connected to: its state, tools that change it with the command line that each runs, and the logs.
import { cut, find, make, quoted, runTool, say, text } from "./server.js";

const mac = "02:00:00:00:01:69";
// A tool, what it is for, the kinds of state beside it, and its arguments: a choice, or a text that is proposed. "script"
// stands for the scripts and programs of the device.
const tools = [["cable", "Pulls or plugs what is at the other end of a port.", ["cable"],
        { port: ["ccinet0", "eth0", "usb", "lan2", "lan3", "lan4"], action: ["pull", "plug"] }],
    ["station", "A station joins or leaves the access point.", ["station"], { action: ["join", "leave"], MAC: mac }],
    ["leases", "Gives a host an address.", ["lease"],
        { action: ["add"], MAC: mac, IP: "192.168.1.105", name: "tablet", seconds: "86400" }],
    ["sim_card", "Sets a value of the SIM; its modem is ok, absent, silent or slow.", ["sim"],
        { action: ["set"], name: "modem", value: "silent" }],
    ["sim_card", "Puts another SIM in.", [], { action: ["new"] }],
    ["fail", "A script or program fails from now on, or works again.", ["fails"], { action: ["on", "off"], name: "script" }],
    ["stat_server", "The statistics server answers half, not at all, late, ends or does not read.", ["statistics"],
        { mode: ["ok", "short", "none", "late", "quit", "deaf"] }],
    ["traffic", "Sends datagrams, over the cellular link and to the USB host.", ["traffic"], { count: "100" }],
    ["upgrade", "Lets an upgrade run, for upgrade_status.", ["upgrade"], { bytes: "8388608", steps: "16", pause: "0.5" }],
    ["sd_card", "Adds a file or a folder (its path ends in /) to the card, or removes it.", ["file"],
        { action: ["add", "remove"], path: "pictures/beach.jpg" }],
    ["cfgdb_cmd", "Stores a setting.", [], { action: ["set"], module: "wlan_settings", key: "ssid", value: "Hotspot" }],
    ["calls", "Lists the calls that the device's scripts and programs got.", [], {}],
];
// The lines that stand for words which are no command of the device.
const lines = {
    fail: ([, action, name]) => action === "on" ? `touch /sim/fail/${quoted(name)}` : `rm -f /sim/fail/${quoted(name)}`,
    stat_server: ([, mode]) => `echo ${quoted(mode)} > /sim/stat_server`,
};
const device = find("#device"), log = find("#log");

function makeTool([name, purpose, kinds, parameters], number) {
    const choice = (value) => make("option", {}, value);
    const inputs = Object.values(parameters).map((value) => Array.isArray(value) || value === "script"
        ? make("select", { className: value === "script" ? "script" : "" }, ...Array.isArray(value) ? value.map(choice) : [])
        : make("input", { value }));
    const labels = Object.keys(parameters).map((label, i) => make("label", {}, label, inputs[i]));
    const line = make("code"), button = make("button", { id: `run ${number}`, "aria-label": `Run ${name}: ${purpose}` }, "Run");
    const output = make("pre", { hidden: true, tabIndex: 0, role: "region", "aria-label": `Output of ${name}` });
    const state = make("p", { className: "state", "data-kinds": kinds.join(" ") });
    const form = make("form", {}, make("fieldset", {}, make("legend", {}, name), make("p", {}, purpose), state, ...labels,
        line, button, output));
    const words = () => [name, ...inputs.map(({ value }) => value)];
    form.oninput = () => { line.textContent = (lines[name] ?? ((all) => all.map(quoted).join(" ")))(words()); };
    form.oninput();
    let running;
    form.onsubmit = async (event) => {
        event.preventDefault();
        if (running) {
            running.abort();
            return;
        }
        running = new AbortController();
        button.textContent = "Stop";
        const what = line.textContent;
        try {
            const { status, output: printed } = await runTool(words(), running.signal);
            output.textContent = printed.split("\n").slice(0, 1000).map((one) => cut(one)).join("\n");
            output.hidden = !printed;
            say(`${what}: ${status ? `failed with exit status ${status}` : "done"}`, status !== 0);
        } catch (error) {
            say(error.name === "AbortError" ? `${what}: stopped` : error.message, error.name !== "AbortError");
        }
        button.textContent = "Run";
        running = undefined;
        showState();
    };
    return form;
}

/** The device's state, beside the controls. */
export async function showState() {
    if (!device.open) return;
    const { output } = await text("state");
    const entries = output.split("\0").filter(Boolean).map((entry) => entry.split(/ (.*)/s));
    for (const state of device.querySelectorAll(".state")) {
        const kinds = state.dataset.kinds.split(" "), values = entries.filter(([kind]) => kinds.includes(kind)).map(([, value]) => value);
        state.textContent = kinds[0] && `Now: ${values.filter(Boolean).map((value) => cut(value, 100)).join(", ") || "none"}`;
    }
    const names = [...new Set(entries.filter(([kind]) => kind === "script").map(([, name]) => name))].sort();
    for (const select of device.querySelectorAll(".script")) {
        if (select.options.length !== names.length) select.replaceChildren(...names.map((name) => make("option", {}, name)));
        select.form.oninput();
    }
}

const lineLimit = 1000, interval = 1000;
let positions = "0-0/0-0", timer;

/** Adds what the logs have gained, as often as the tab is visible and the logs are open. No call stays open. */
async function followLog() {
    clearTimeout(timer);
    if (!log.open || document.visibilityState !== "visible") return;
    try {
        const { output } = await text(`log/${positions}`);
        const end = output.indexOf("\n");
        positions = output.slice(0, end).replace(" ", "/");
        if (output.length > end + 1) addLog(output.slice(end + 1));
    } catch (error) {
        say(error.message, true);
    }
    clearTimeout(timer);
    timer = setTimeout(followLog, interval);
}

/** Keeps the last lines. A reader who has scrolled up stays where they are. */
function addLog(gained) {
    const box = log.querySelector("pre"), isAtEnd = box.scrollTop + box.clientHeight >= box.scrollHeight - 5;
    box.append(gained.split("\n").slice(-lineLimit - 1).join("\n"));
    const height = box.scrollHeight, kept = box.textContent.split("\n").slice(-lineLimit - 1);
    if (box.childNodes.length > 1) box.replaceChildren(kept.join("\n"));
    box.scrollTop = isAtEnd ? box.scrollHeight : Math.max(0, box.scrollTop - (height - box.scrollHeight));
}

device.append(...tools.map(makeTool));
device.addEventListener("toggle", () => showState().catch((error) => say(error.message, true)));
log.addEventListener("toggle", followLog);
document.addEventListener("visibilitychange", followLog);
