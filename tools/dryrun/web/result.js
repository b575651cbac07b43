// Shows the outcome of a run, the JSON that `--json` prints.

const kGroups = ["Registry", "Path", "Files", "Start menu", "At the next restart", "Properties", "Products"];
const kSigns = {"+": "added", "-": "deleted", "~": "changed"};
const kLevels = ["TRACE", "INFO", "WARNING", "ERROR"];

/** Creates an element with attributes (or properties, if they begin with a dot) and children. */
function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith(".")) {
            made[name.slice(1)] = value;
        } else {
            made.setAttribute(name, value);
        }
    }
    made.append(...children.flat().filter(child => child !== null));
    return made;
}

function textOf(value) {
    if (value === null || value === undefined) {
        return "";
    }
    return typeof value === "string" ? value : JSON.stringify(value, null, 1);
}

/** Where a change is, and what changes there: a key and its value, a directory and its entry. */
function partsOf({group, what}) {
    const text = textOf(what);
    const value = /^(.*) \[(.*)\]$/s.exec(text);
    if (group === "Registry" && value) {
        return {place: value[1], name: value[2]};
    }
    const separator = text.replace(/\\$/, "").lastIndexOf("\\");
    if (separator < 0 || group === "At the next restart") {
        return {place: "", name: text};
    }
    if (group === "Registry") {
        return {place: text, name: "(Key)"};
    }
    return {place: text.slice(0, separator), name: text.slice(separator + 1)};
}

/** `Path` with each of its directories in a line. */
function linesOf(group, text) {
    return group === "Path" ? text.replaceAll(";", ";\n") : text;
}

function changeRow(change, name) {
    const [before, after] = [change.before, change.after].map(value => linesOf(change.group, textOf(value)));
    return element("tr", {class: `sign-${kSigns[change.sign]}`},
        element("td", {class: "sign"},
            element("span", {"aria-hidden": "true"}, change.sign === "-" ? "−" : change.sign),
            element("span", {class: "visually-hidden"}, kSigns[change.sign])),
        element("th", {scope: "row"}, name),
        element("td", {class: "before", "data-label": "Before"}, valueShown(change, before, "+")),
        element("td", {class: "after", "data-label": "After"}, valueShown(change, after, "-")));
}

/** A value; an empty one of the registry is named, but not on the side where there is none. */
function valueShown({group, sign, what}, text, missing) {
    const isValue = group === "Registry" && / \[.*\]$/s.test(textOf(what));
    if (text !== "" || !isValue || sign === missing) {
        return text;
    }
    return element("span", {class: "hint"}, "empty");
}

/** A column in which every cell would be empty is left out. */
function columnsOf(changes) {
    const signs = new Set(changes.map(({sign}) => sign));
    if (signs.size > 1 || signs.has("~")) {
        return "";
    }
    return signs.has("+") ? "without-before" : "without-after";
}

function changesTable(group, changes) {
    const columns = columnsOf(changes);
    const bodies = new Map();
    for (const change of changes) {
        const {place, name} = partsOf(change);
        if (!bodies.has(place)) {
            const head = place === "" ? null : element("tr", {class: "place"},
                element("th", {colspan: columns === "" ? "4" : "3", scope: "rowgroup"}, place));
            bodies.set(place, element("tbody", {}, head));
        }
        bodies.get(place).append(changeRow(change, name));
    }
    const head = element("tr", {},
        element("th", {scope: "col"}, element("span", {class: "visually-hidden"}, "Kind")),
        element("th", {scope: "col"}, "What"),
        element("th", {scope: "col"}, "Before"),
        element("th", {scope: "col"}, "After"));
    return element("section", {class: "group"},
        element("h3", {}, group, " ", element("span", {class: "count"}, String(changes.length))),
        element("table", {class: `changes ${columns}`}, element("thead", {}, head), [...bodies.values()]));
}

function changesSections(changes) {
    if (changes.length === 0) {
        return [element("p", {class: "nothing"}, "Nothing changes.")];
    }
    const others = [...new Set(changes.map(change => change.group))]
        .filter(group => !kGroups.includes(group));
    return [...kGroups, ...others]
        .map(group => [group, changes.filter(change => change.group === group)])
        .filter(([, rows]) => rows.length > 0)
        .map(([group, rows]) => changesTable(group, rows));
}

/** The log as records: {level, where, text}. */
function recordsOf(log) {
    const records = [];
    for (const line of log.split(/\r?\n/)) {
        const head = /^\[(.*)\]$/.exec(line);
        const message = /^\t([A-Z]+): (.*)$/.exec(line);
        const last = records.at(-1);
        if (head) {
            records.push({level: "", where: head[1], text: ""});
        } else if (last && message && last.level === "") {
            last.level = message[1];
            last.text = message[2];
        } else if (last && line !== "") {
            last.text += "\n" + line;
        }
    }
    return records;
}

function recordRow({level, where, text}) {
    const [, time, source] = /^(.*?), .*?\), (.*)$/.exec(where) ?? [null, "", where];
    return element("li", {class: `record level-${level.toLowerCase()}`, "data-level": level},
        element("span", {class: "level"}, level),
        element("span", {class: "text"}, text),
        element("span", {class: "where", title: where}, source || time));
}

function logSection(log) {
    const records = recordsOf(log);
    const list = element("ol", {class: "log"});
    const count = element("span", {class: "hint", role: "status"});
    const filter = element("select", {id: "level"},
        element("option", {value: "0"}, "everything"),
        element("option", {value: "1"}, "information and above"),
        element("option", {value: "2", selected: ""}, "warnings and errors"),
        element("option", {value: "3"}, "errors"));
    const show = () => {
        const shown = records.filter(({level}) => kLevels.indexOf(level) >= Number(filter.value));
        list.replaceChildren(...shown.map(recordRow));
        count.textContent = `${shown.length} of ${records.length} records`;
    };
    filter.addEventListener("change", show);
    show();
    return element("details", {class: "fold", open: ""},
        element("summary", {}, "Log"),
        element("p", {class: "field inline"}, element("label", {for: "level"}, "Show"), filter, count),
        list,
        element("p", {class: "hint"}, "Windows' own error texts are given in English and may be worded otherwise on a real machine."));
}

function listSection(title, className, entries) {
    if (!entries || entries.length === 0) {
        return null;
    }
    return element("section", {class: `notices ${className}`},
        element("h3", {}, title),
        element("ul", {}, entries.map(entry => element("li", {}, entry))));
}

function boxEntry({title, text}) {
    return [element("strong", {}, textOf(title)), element("span", {class: "box-text"}, textOf(text))];
}

function unreadEntry({what, status, affects}) {
    return [element("code", {}, textOf(what)), ` (status ${textOf(status)}). ${textOf(affects)}`];
}

/** How a status looks: what isn't described makes even a good one doubtful. */
function lookOf({status, unread}) {
    if (status !== 0) {
        return {name: "bad", mark: "✕"};
    }
    return unread?.length > 0 ? {name: "doubtful", mark: "!"} : {name: "good", mark: "✓"};
}

function statusSection(outcome) {
    const {action, status, meaning, properties} = outcome;
    const look = lookOf(outcome);
    return element("section", {class: `status ${look.name}`, role: "status"},
        element("p", {class: "action-name"}, action, " ",
            element("span", {class: "hint"}, (properties ?? []).join(" "))),
        element("p", {class: "status-line"},
            element("span", {class: "mark", "aria-hidden": "true"}, look.mark),
            element("span", {class: "code"}, String(status)),
            element("span", {class: "meaning"}, look.name === "doubtful" ? `${meaning}, as far as is known` : meaning)));
}

function jsonSection(json) {
    return element("details", {class: "fold"},
        element("summary", {}, "The same as JSON"),
        element("pre", {id: "json", tabindex: "0"}, json));
}

/** The elements that show an outcome; `json` is its text. `buttons` follow the status. */
function outcomeElements(json, buttons) {
    const outcome = JSON.parse(json);
    return [
        statusSection(outcome),
        listSection("Not described, so not known", "unread", outcome.unread?.map(unreadEntry)),
        listSection("Notes", "notes", outcome.notes?.map(textOf)),
        listSection("Message boxes", "boxes", outcome.boxes?.map(boxEntry)),
        listSection("Broadcasts to all windows", "broadcasts", outcome.broadcasts?.map(textOf)),
        buttons,
        ...changesSections(outcome.changes),
        logSection(outcome.log),
        jsonSection(json),
    ].filter(shown => shown !== null);
}
