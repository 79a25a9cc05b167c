// What the device is connected to: tools that change it, each with the command line that it runs, and the logs.
import { make, run, runTool, tell } from "./server.js";

const mac = "02:00:00:00:01:69";
// A tool, what it is for, and its arguments: a choice, or a text that is proposed.
const tools = [
    ["cable", "Pulls or plugs what is at the other end of a port.",
        { port: ["ccinet0", "eth0", "usb", "lan2", "lan3", "lan4"], action: ["pull", "plug"] }],
    ["station", "A station joins or leaves the access point.", { action: ["join", "leave"], MAC: mac }],
    ["leases", "Gives a host an address.",
        { action: ["add"], MAC: mac, IP: "192.168.1.105", name: "tablet", seconds: "86400" }],
    ["sim_card", "Sets a value of the SIM; its modem is ok, absent, silent or slow.",
        { action: ["set"], name: "modem", value: "silent" }],
    ["sim_card", "Puts another SIM in.", { action: ["new"] }],
    ["traffic", "Sends datagrams, over the cellular link and to the USB host.", { count: "100" }],
    ["upgrade", "Lets an upgrade run, for upgrade_status.", { bytes: "8388608", steps: "16", pause: "0.5" }],
    ["sd_card", "Adds a file to the card, or a folder (a path that ends in /), or removes one.",
        { action: ["add", "remove"], path: "pictures/beach.jpg" }],
    ["cfgdb_cmd", "Stores a setting.", { action: ["set"], module: "wlan_settings", key: "ssid", value: "Hotspot" }],
    ["calls", "Lists the calls that the device's scripts and programs got.", {}],
];
const device = document.getElementById("device"), log = document.getElementById("log");

/** A word as one would type it into a shell. */
const quoted = (word) => /^[\w.,:/+@%=-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;

function makeTool([name, purpose, parameters]) {
    const inputs = Object.values(parameters).map((value) => Array.isArray(value)
        ? make("select", {}, ...value.map((choice) => make("option", {}, choice))) : make("input", { value }));
    const labels = Object.keys(parameters).map((label, i) => make("label", {}, label, inputs[i]));
    const line = make("code"), button = make("button", {}, "Run"), output = make("pre", { hidden: true });
    const form = make("form", {}, make("fieldset", {},
        make("legend", {}, name), make("p", {}, purpose), ...labels, line, button, output));
    const words = () => [name, ...inputs.map(({ value }) => value)];
    form.oninput = () => { line.textContent = words().map(quoted).join(" "); };
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
        output.textContent = "";
        const told = line.textContent;
        tell(`${told} runs`);
        await runTool(words(), (text) => output.append(`${text}\n`), running.signal).then(
            (exit) => tell(`${told}: ${exit ? `failed with exit status ${exit}` : "done"}`, exit !== 0),
            (error) => error.name === "AbortError" ? tell(`${told}: stopped`) : tell(error.message, true));
        output.hidden = !output.textContent;
        button.textContent = "Run";
        running = undefined;
        showState();
    };
    return form;
}

async function showState() {
    const state = {};
    await run("/state", {}, (line) => {
        const [what, ...rest] = line.split(" ");
        (state[what] ??= []).push(rest.join(" "));
    }).catch((error) => tell(error.message, true));
    device.querySelector("dl").replaceChildren(...Object.entries(state).flatMap(([what, all]) =>
        [make("dt", {}, what), make("dd", {}, all.join(", "))]));
}

device.append(...tools.map(makeTool));
device.ontoggle = () => { if (device.open) showState(); };
let following;
log.ontoggle = () => {
    following?.abort();
    if (!log.open) return;
    following = new AbortController();
    const lines = log.querySelector("pre");
    lines.textContent = "";
    run("/log", { signal: following.signal }, (line) => {
        lines.append(`${line}\n`);
        lines.scrollTop = lines.scrollHeight;
    }).catch((error) => { if (error.name !== "AbortError") tell(error.message, true); });
};
