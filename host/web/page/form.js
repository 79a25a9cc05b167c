// The form of a module. It edits two XML trees: what is asked for (state.read) and what is posted (state.write).
import { cut, find, keepFocus, make } from "./server.js";
import { add, at, remove } from "./xml.js";

/** Shows a module's form; changed(name) is called when it has changed the tree "read" or "write". */
export function showForm(state, changed) {
    const titles = ["Ask for element", "Value", "New value"].map((title) => make("th", { scope: "col" }, title));
    const rows = state.elements.flatMap((element) => element.fields ? listRow(state, element, changed) : leafRow(state, element, changed));
    const none = make("tr", {}, make("td", { colSpan: 3 },
        "Nothing is known about this module's elements. Type into the XML what your page asks for or posts."));
    keepFocus(() => find("#form").replaceChildren(make("caption", {}, "Elements"), make("thead", {}, make("tr", {}, ...titles)),
        make("tbody", {}, ...rows.length ? rows : [none])));
}

function heading(state, { path, meaning, values, empty, isRead }, changed) {
    const ask = make("input", { type: "checkbox", id: `ask ${path}`, "aria-label": `Ask for ${path}`, disabled: !state.read,
        checked: Boolean(state.read && at(state.read, path)), onchange: () => {
            if (ask.checked) add(state.read, path);
            else remove(at(state.read, path));
            changed("read");
        } });
    const words = [values && `Values: ${values}.`, empty && `Empty: ${empty}.`].filter(Boolean).join(" ");
    return make("th", { scope: "row" }, make("label", {}, ...isRead ? [ask, " "] : [], make("code", {}, path)),
        make("p", {}, meaning ?? ""), make("small", {}, words));
}

/** A field whose text is handed on when it changes. */
const input = (label, value, take) => make("textarea", { rows: 1, value, spellcheck: false, id: `new ${label}`,
    "aria-label": `New value of ${label}`, oninput: ({ target }) => take(target.value) });

function leafRow(state, element, changed) {
    const { path, isRead, isPosted, isParameter } = element, kind = isParameter ? "read" : "write";
    const isShown = isRead && !isParameter, stored = isShown ? state.values?.[path] : "";
    const value = make("td", { className: "value" }, stored ? cut(stored) : make("i", {}, stored === "" ? "empty" : "not read"));
    const row = make("tr", {}, heading(state, element, changed), isShown ? value : make("td"), make("td"));
    if (!isPosted && !isParameter) return row;
    const sent = () => state[kind] && at(state[kind], path);
    row.classList.toggle("changed", !isParameter && Boolean(sent()));
    row.lastChild.append(input(path, sent()?.textContent ?? stored ?? "", (text) => {
        const isChanged = text !== (stored ?? "");
        if (isChanged || isParameter) add(state[kind], path).textContent = text;
        else if (sent()) remove(sent());
        if (isParameter) row.querySelector("[type=checkbox]").checked = true;
        row.classList.toggle("changed", !isParameter && isChanged);
        changed(kind);
    }));
    row.querySelector("textarea").disabled = !state[kind];
    return row;
}

/** A list is a table of its records, as they are stored and as they are changed. */
function listRow(state, element, changed) {
    const { path, fields, item: tag, isPosted, isStored } = element, key = fields[0].name;
    const itemOf = (value) => [...at(state.write ?? state.request, path)?.children ?? []].find((item) =>
        at(item, key)?.textContent === value);
    const again = () => { changed("write"); showForm(state, changed); };
    const create = (values) => {
        const item = add(state.write, path).appendChild(state.write.ownerDocument.createElement(tag));
        for (const { name, isPosted: isField } of fields) if (isField || !isStored) add(item, name).textContent = values[name] ?? "";
        return item;
    };
    // The button that takes a button's place gets its focus.
    const button = (name, label, action) => make("button", { id: `use ${path} ${label}`, disabled: !state.write,
        "aria-label": `${name} ${path} ${label}`, onclick: () => { action(); again(); } }, name);
    const record = (values, number, item) => { // of the device, or else an item that is posted
        const isNew = !values, label = isNew ? `new ${number}` : `${number}`;
        let posted = isNew ? item : isPosted && state.write && itemOf(values[key]);
        const isDeleted = Boolean(posted && at(posted, key)?.hasAttribute("Delete"));
        const row = make("tr", { className: isDeleted ? "deleted" : posted ? "changed" : "" });
        row.append(...fields.map(({ name, isPosted: isField }) => {
            const text = (posted && at(posted, name)?.textContent) ?? values?.[name] ?? "";
            const isFixed = !isField || isDeleted || !state.write || (isStored && !isNew && name === key) || (!isNew && !isStored);
            return make("td", {}, isFixed ? cut(text, 200) : input(`${path} ${label} ${name}`, text, (now) => {
                posted ??= create(values);
                add(posted, name).textContent = now;
                if (!isNew && fields.every((other) => (at(posted, other.name)?.textContent ?? "") === (values[other.name] ?? ""))) {
                    remove(posted);
                    posted = undefined;
                }
                row.className = posted ? "changed" : "";
                changed("write");
            }));
        }));
        const buttons = make("td");
        if (posted) buttons.append(button(isNew ? "Remove" : "Undo", label, () => remove(posted)));
        else if (isStored && isPosted) {
            buttons.append(button("Delete", label, () => {
                const only = add(state.write, path).appendChild(state.write.ownerDocument.createElement(tag));
                add(only, key).textContent = values[key];
                at(only, key).setAttribute("Delete", "1");
            }));
        }
        row.append(buttons);
        return row;
    };
    const stored = state.values?.[path] ?? [], keys = new Set(stored.map((values) => values[key]));
    const added = [...(state.write && at(state.write, path))?.children ?? []].filter((item) =>
        !isStored || !keys.has(at(item, key)?.textContent));
    const explain = (words, { name, meaning, values, empty }) => [words, `${name}: ${meaning ?? ""}`,
        values && `; values: ${values}`, empty && `; empty: ${empty}`].filter(Boolean).join("");
    const table = make("table", {}, make("thead", {}, make("tr", {},
        ...fields.map((one) => make("th", { scope: "col", title: explain("", one) }, one.name)), make("th", { scope: "col" }, "Use"))),
        make("tbody", {}, ...stored.map((values, i) => record(values, i + 1)), ...added.map((item, i) => record(undefined, i + 1, item))));
    const words = fields.filter(({ meaning }) => meaning).map((one) => make("small", {}, `${explain("", one)}. `));
    const title = heading(state, element, changed);
    title.colSpan = 3;
    title.append(...words);
    const cell = make("td", { colSpan: 3, className: "list" }, table);
    if (isPosted) table.after(button("Add", "record", () => create({})));
    return [make("tr", {}, title), make("tr", {}, cell)];
}
