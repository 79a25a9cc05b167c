// What the page asks of its server, whose calls host/web/server.h tells, and how it makes elements of what it gets.

/** An element with properties, children and texts. What comes from the device is a text, and never markup. */
export function make(name, properties = {}, ...children) {
    const element = Object.assign(document.createElement(name), properties);
    element.append(...children);
    return element;
}

/** Tells in the page's head how it goes. */
export function tell(text, isBad = false) {
    const message = document.getElementById("message");
    message.textContent = text;
    message.classList.toggle("bad", isBad);
}

/** The text of a file, or all that a command prints. */
export async function read(path) {
    return (await (await fetch(path).catch(explain)).text()).replace(/\n\x04.*/, "");
}

/** Runs a command and hands its lines on as it prints them. Gives its exit status. */
export async function run(path, options, onLine) {
    const response = await fetch(path, options).catch(explain);
    if (!response.ok) throw new Error(`The server refused: ${await response.text()}`);
    let rest = "", status;
    const texts = response.body.pipeThrough(new TextDecoderStream()).getReader();
    for (let part; !(part = await texts.read().catch(explain)).done;) {
        const lines = (rest + part.value).split("\n");
        rest = lines.pop();
        for (const line of lines) {
            if (line.startsWith("\x04")) status = Number(line.slice(1));
            else if (line) onLine(line);
        }
    }
    return status;
}

/** Runs one of the device's tools with its arguments, as they are. */
export function runTool(words, onLine, signal) {
    return run("/run", { method: "POST", body: words.map((word) => `${word}\0`).join(""), signal }, onLine);
}

function explain(error) {
    if (error.name === "AbortError") throw error;
    throw new Error("The device does not answer: it has ended, or ./run web has. Start that again, then reload this.");
}
