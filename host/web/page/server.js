// The page's calls to its server (host/web/server.h describes them), and how it builds elements from the replies.

/** An element with properties, children and texts. What comes from the device is always a text, never markup. */
export function make(name, properties = {}, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (key in element) element[key] = value;
        else element.setAttribute(key, value);
    }
    element.append(...children);
    return element;
}

export const find = (selector) => document.querySelector(selector);

/** Says in the page's head how an action ended. A screen reader speaks it. */
export function say(text, isBad = false) {
    find("#message").textContent = text;
    find("#message").classList.toggle("bad", isBad);
}

/** A text that is not longer than a line should be. */
export const cut = (text, limit = 1000) =>
    text.length > limit ? `${text.slice(0, limit)}... ${text.length - limit} more` : text;

/** A word as one types it into a shell. */
export const quoted = (word) => /^[\w.,:/+@%=-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;

/** Makes a call and hands on the objects of its reply, as many at a time as have come. */
export async function call(path, options, take) {
    const response = await fetch(path, options).catch(explain);
    if (!response.ok) throw new Error(`The server refused: ${await response.text()}`);
    let rest = "";
    const texts = response.body.pipeThrough(new TextDecoderStream()).getReader();
    for (let part; !(part = await texts.read().catch(explain)).done;) {
        const lines = (rest + part.value).split("\n");
        rest = lines.pop();
        if (lines.length) take(lines.map((line) => JSON.parse(line)));
    }
}

/** What a command prints, with its exit status. */
export async function text(path, options) {
    let reply;
    await call(path, options, ([object]) => { reply = object; });
    return reply;
}

/** Runs a tool of the device with its arguments. */
export const runTool = (words, signal) =>
    text("run", { method: "POST", body: words.map((word) => `${word}\0`).join(""), signal });

function explain(error) {
    if (error.name === "AbortError") throw error;
    throw new Error("The device does not answer: it has ended, or ./run web has. Start that again and open its address.");
}

/** Keeps the focus where it is while the page changes, or else gives it to an element that stays. */
export function keepFocus(change, fallback = find("#read")) {
    const { id } = document.activeElement;
    change();
    const now = document.activeElement;
    if (id && (now === document.body || now.disabled)) {
        const again = document.getElementById(id);
        (again && !again.disabled ? again : fallback).focus();
    }
}

/** A text of this tab that survives a reload. */
export const remembered = (key) => sessionStorage.getItem(key);
export const remember = (key, value) => sessionStorage.setItem(key, value);
