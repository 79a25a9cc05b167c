// What is known about a module's elements: the table of its documentation and the device's own description.
import { text } from "./server.js";
import { at, parse } from "./xml.js";

let documented; // names of the modules that have a page of documentation

/** A page of the documentation as elements. Links lead to the modules; links to other files are taken out. */
async function readDocs(name) {
    const { output } = await text(`docs/${name}`);
    const page = new DOMParser().parseFromString(output, "text/html");
    for (const link of page.querySelectorAll("a")) {
        const [, other] = link.getAttribute("href").match(/^([a-z_]+)\.md$/) ?? [];
        if (other) link.href = `#${other}`;
        else link.replaceWith(...link.childNodes);
    }
    for (const wide of page.querySelectorAll("pre")) wide.tabIndex = 0;
    return page;
}

/** The documentation of a module, or what all modules have in common. */
export async function docsOf(module) {
    const common = documented?.has(module) ? undefined : await readDocs("README");
    documented ??= new Set([...common.querySelectorAll("a[href^='#']")].map((link) => link.hash.slice(1)));
    return documented.has(module) ? readDocs(module) : common;
}

/** The rows of the element table: path, meaning, values, empty, whether it is read and posted. */
function tableRows(docs) {
    const title = [...docs.querySelectorAll("h2, h3")].find((heading) => heading.textContent.trim() === "Elements");
    let table = title?.nextElementSibling;
    while (table && table.tagName !== "TABLE" && !/^H[12]$/.test(table.tagName)) table = table.nextElementSibling;
    if (table?.tagName !== "TABLE") return [];
    return [...table.tBodies[0]?.rows ?? []].map(({ cells: [path, meaning, values, empty, use] }) => ({
        path: path.textContent.trim(), meaning: meaning.textContent, values: values.textContent, empty: empty.textContent,
        choices: [...values.querySelectorAll("code")].map((code) => code.textContent),
        isRead: /read/.test(use.textContent), isPosted: /post/.test(use.textContent),
    })).filter(({ values }) => values !== "group");
}

/** The same from the device's description, without words. */
function describedRows(description) {
    const rows = [];
    (function visit(element, path, isOnlyPosted) {
        for (const child of element.children) {
            const below = path ? `${path}.${child.tagName}` : child.tagName;
            const store = child.getAttribute("store"), isOwn = isOnlyPosted || child.hasAttribute("get");
            const row = { path: below, isRead: !isOwn, isPosted: isOwn || Boolean(store) };
            if (store === "list") {
                const names = child.getAttribute("fields").split("#");
                rows.push(...names.map((name) => ({ ...row, path: `${below}.Item.${name}` })));
            } else if (child.children.length) {
                visit(child, below, isOwn);
            } else {
                rows.push(row);
            }
        }
    })(description, "", false);
    return rows;
}

/** The elements of a module: {module, request, elements}. A list is one element, with its fields in "fields". */
export async function describe(module, docs) {
    const { output } = await text(`module/${module}`);
    const [description, request] = output.split("\0");
    const described = description.trim() ? parse(description) : undefined;
    const rows = tableRows(docs);
    const known = new Set(rows.flatMap(({ path }) => [path, path.replace(/\.[Ii]tem\..*/, "")]));
    const others = describedRows(described ?? parse(request)).map((row) => described ? row : { ...row, isPosted: true });
    rows.push(...others.filter(({ path }) => !known.has(path) && !known.has(path.replace(/\.Item\..*/, ""))));
    const elements = new Map();
    for (const row of rows) {
        const [, list, item, field] = row.path.match(/^(.+)\.([Ii]tem)\.([^.]+)$/) ?? [row.path, row.path];
        if (!field) {
            if (!elements.has(list)) elements.set(list, row);
            continue;
        }
        const element = elements.get(list) ?? { path: list, isRead: false, isPosted: false, meaning: "" };
        element.item = item;
        (element.fields ??= []).push({ ...row, name: field });
        element.isRead ||= row.isRead;
        element.isPosted ||= row.isPosted;
        // Only a stored list has keys, by which a posted item edits or deletes a record.
        element.isStored = Boolean(described && at(described, list)?.getAttribute("store") === "list");
        elements.set(list, element);
    }
    for (const element of elements.values()) { // what a read request may say, and the answer does not
        element.isParameter = element.isRead && !element.isPosted && !element.fields &&
            Boolean(described && at(described, element.path)?.hasAttribute("get"));
    }
    return { module, request: parse(request), elements: [...elements.values()] };
}
