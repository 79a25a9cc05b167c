// The XML of requests and answers.

/** Parses a text into its root element; throws what is wrong with it. */
export function parse(text) {
    const page = new DOMParser().parseFromString(text, "text/xml");
    // Both browsers put this element into a malformed document, but not at the same place.
    const fault = page.getElementsByTagName("parsererror")[0];
    if (fault) {
        const [reason] = fault.textContent.match(/line \d+ at column \d+: [^\n]*|[^\n]*\n.*\nLine Number \d+/) ?? ["?"];
        throw new Error(`This is not well-formed XML: ${reason.replace(/\n.*\n/, " ")}`);
    }
    return page.documentElement;
}

/** The element at a dotted path below a root, or undefined. */
export const at = (root, path) => path.split(".").reduce((element, name) =>
    element && [...element.children].find((child) => child.tagName === name), root);

/** The same, added if it is missing. */
export const add = (root, path) => path.split(".").reduce((element, name) =>
    at(element, name) ?? element.appendChild(root.ownerDocument.createElement(name)), root);

/** Removes an element, and its parents that are left empty. */
export function remove(element) {
    const parent = element.parentElement;
    element.remove();
    if (parent?.parentElement && !parent.children.length) remove(parent);
}

/** The XML of an element, one element per line. */
export function format(element, indent = "") {
    const shell = element.cloneNode(false);
    if (!element.children.length) {
        shell.textContent = element.textContent;
        return indent + new XMLSerializer().serializeToString(shell);
    }
    const [open, close] = new XMLSerializer().serializeToString(Object.assign(shell, { textContent: " " })).split("> <");
    return [`${indent}${open}>`, ...[...element.children].map((child) => format(child, `${indent}  `)), `${indent}<${close}`]
        .join("\n");
}

/** A read request: a tree without texts and attributes. Only the elements at some paths keep their texts. */
export function withoutTexts(element, kept, path = "") {
    const bare = element.ownerDocument.createElement(element.tagName);
    bare.append(...[...element.children].map((child) => withoutTexts(child, kept, path ? `${path}.${child.tagName}` : child.tagName)));
    if (kept.has(path)) bare.append(element.textContent);
    return bare;
}

/** The texts of a tree by path; a list's items stand under its path in an array of objects. */
export function valuesOf(root, lists) {
    const values = Object.create(null);
    (function visit(element, path) {
        for (const child of element.children) {
            const below = path ? `${path}.${child.tagName}` : child.tagName;
            if (lists.has(below)) {
                values[below] = [...child.children].map((item) =>
                    Object.fromEntries([...item.children].map((field) => [field.tagName, field.textContent])));
            } else if (child.children.length) {
                visit(child, below);
            } else {
                values[below] = child.textContent;
            }
        }
    })(root, "");
    return values;
}
