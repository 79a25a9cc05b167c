// The XML of requests and answers.

export function parse(text) {
    const root = new DOMParser().parseFromString(text, "text/xml").documentElement;
    if (root.querySelector("parsererror")) throw new Error("What the device sent is no well-formed XML.");
    return root;
}

const leaves = (root) => [...root.querySelectorAll("*")].filter((element) => !element.firstElementChild);

/** Where an element stands below its module's: a.b for <a><b/></a>, Item[1] for one with an index. */
function path(element) {
    if (!element.parentElement) return "";
    const index = element.getAttribute("index");
    const above = path(element.parentElement);
    return `${above && `${above}.`}${element.tagName}${index ? `[${index}]` : ""}`;
}

/** A request for all that a page has, which is its elements without marks and without those that are only posted. */
export function readRequest(page) {
    for (const element of page.querySelectorAll("[get]")) {
        element.previousSibling?.remove(); // the white space before it
        element.remove();
    }
    for (const mark of ["store", "fields"]) {
        for (const element of page.querySelectorAll(`[${mark}]`)) element.removeAttribute(mark);
    }
    return new XMLSerializer().serializeToString(page);
}

/** The paths of what can be posted: settings, the fields of lists, and what is only posted. */
export function postable(page) {
    return leaves(page).filter((element) => element.closest("[get], [store]")).flatMap((element) =>
        element.getAttribute("fields")?.split("#").map((field) => `${path(element)}.Item.${field}`) ?? path(element));
}

/** A request that posts values, given as pairs of a path and a text. */
export function writeRequest(module, values) {
    const page = document.implementation.createDocument(null, module);
    for (const [names, value] of values) {
        let element = page.documentElement;
        for (const name of names.split(".")) {
            const child = [...element.children].find((child) => child.tagName === name);
            element = child ?? element.appendChild(page.createElement(name));
        }
        element.textContent = value;
    }
    for (const child of page.documentElement.children) child.before("\n  ");
    if (values.length) page.documentElement.append("\n");
    return new XMLSerializer().serializeToString(page);
}

/** What an answer holds, as pairs of a path and a text. */
export const values = (root) => leaves(root).map((element) => [path(element), element.textContent]);
