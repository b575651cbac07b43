// The page: descriptions and an action go in, the outcome comes out.

const kFirstDescription = `{
  "products": [
    {"type": "QVR", "version": "1.8.0_451-b10"},
    {"type": "QVK", "version": "21.0.12.1+1"}
  ]
}
`;
const kEditorLimit = 1024 * 1024;
const kTypingPause = 400;

/** The actions, what they are for, and the properties that they read. */
const kActions = [
    ["SetLatestQvr", "Deferred: brings the machine into line after a product was installed.", []],
    ["MSILoadMsiPropertiesFromConfig", "Loads and checks the install configuration.", ["MSICMDLINE", "INSTALLDIR"]],
    ["MSIValidateInstallDir", "Checks the install directory.", ["INSTALLDIR", "INSTALL_TYPE"]],
    ["MSIIsLocalSystemSupported", "Checks whether LocalSystem can install.", ["ENTERPRISE"]],
    ["MSISetImpersonate", "Sets whose account the install uses.", ["INSTALLCFG"]],
    ["MSIRemoveFoldersOnReboot", "Puts off what is left of a directory until the restart.", ["INSTALLDIR"]],
    ["checkIfReservedLocationOccupied", "Checks the reserved location.", ["ISSILENT"]],
    ["checkIfInstallDirReserved", "Checks whether the install directory is reserved.", ["INSTALLDIR", "ISSILENT"]],
    ["DisableVomlitExe", "Keeps the auto-updater's tool from running.", []],
    ["RestoreVomlitExe", "Lets the auto-updater's tool run again.", ["DisableVomlitExe"]],
    ["DisableAUUninstall", "Finds the updaters that the install replaces.", []],
];
const kDeferred = "SetLatestQvr";

const byId = id => document.getElementById(id);
const runner = new Runner();

function decode(bytes) {
    const isLittle = bytes[0] === 0xff && bytes[1] === 0xfe;
    const isBig = bytes[0] === 0xfe && bytes[1] === 0xff;
    return new TextDecoder(isLittle ? "utf-16le" : isBig ? "utf-16be" : "utf-8").decode(bytes);
}

/** One description: a file that was chosen or dropped, or text that was written. */
class Description {
    #root;
    #name;
    #bytes = null;
    onchange = () => {};
    onremove = () => {};

    constructor(root, label, name) {
        this.#root = root;
        root.append(byId("description-template").content.cloneNode(true));
        this.editor = root.querySelector(".editor");
        this.editor.id = `${root.id}-editor`;
        const editorLabel = root.querySelector(".editor-label");
        editorLabel.htmlFor = this.editor.id;
        editorLabel.textContent = label;
        const error = root.querySelector(".error");
        error.id = `${root.id}-error`;
        this.editor.setAttribute("aria-describedby", error.id);
        const file = root.querySelector(".file");
        root.querySelector(".choose").addEventListener("click", () => file.click());
        root.querySelector(".remove").addEventListener("click", () => this.onremove());
        file.addEventListener("change", () => {
            if (file.files.length > 0) {
                this.load(file.files[0]);
            }
            file.value = "";
        });
        this.editor.addEventListener("input", () => {
            this.#bytes = null;
            this.showError(null);
            this.onchange();
        });
        this.#setName(name);
    }

    get name() { return this.#name; }

    /** The bytes of the file, or of the text if someone has written in it. */
    get bytes() { return this.#bytes ?? new TextEncoder().encode(this.editor.value); }

    get isEmpty() { return this.#bytes === null && this.editor.value.trim() === ""; }

    async load(file) {
        this.setBytes(file.name, new Uint8Array(await file.arrayBuffer()));
    }

    setBytes(name, bytes) {
        const isLarge = bytes.length > kEditorLimit;
        const large = this.#root.querySelector(".large");
        this.#bytes = bytes;
        this.#setName(name);
        this.editor.value = isLarge ? "" : decode(bytes);
        this.editor.hidden = isLarge;
        large.hidden = !isLarge;
        large.textContent = `${(bytes.length / 1048576).toFixed(1)} MB: too large to be shown here, and used as it is.`;
        this.showError(null);
        this.onchange();
    }

    setText(name, text) {
        this.setBytes(name, new TextEncoder().encode(text));
    }

    /** Shows what is wrong with it, a line that begins with its name; null for nothing. */
    showError(message) {
        const error = this.#root.querySelector(".error");
        const goto = error.querySelector(".goto");
        error.hidden = message === null;
        this.editor.toggleAttribute("aria-invalid", message !== null);
        if (message === null) {
            return;
        }
        const text = message.startsWith(this.#name + ": ")
            ? message.slice(this.#name.length + 2) : message;
        error.querySelector(".message").textContent = text;
        const place = this.editor.hidden ? null : placeOfError(this.editor.value, text);
        goto.hidden = place === null;
        if (place !== null) {
            goto.textContent = `Go to line ${place.line}`;
            goto.onclick = () => this.#select(place);
        }
    }

    setRemovable() {
        this.#root.querySelector(".remove").hidden = false;
    }

    focus() {
        (this.editor.hidden ? this.#root.querySelector(".choose") : this.editor).focus();
    }

    #setName(name) {
        this.#name = name.startsWith("-") ? "./" + name : name;
        this.#root.querySelector(".name").textContent = name;
    }

    #select({start, end, line}) {
        const lineEnd = this.editor.value.indexOf("\n", start);
        this.editor.focus();
        this.editor.setSelectionRange(start, lineEnd < 0 ? end : Math.min(end, lineEnd));
        const height = parseFloat(getComputedStyle(this.editor).lineHeight);
        this.editor.scrollTop = Math.max(0, (line - 4) * height);
    }
}

const machine = new Description(byId("machine"), "Description of the machine", "machine.json");
const overlay = new Description(byId("overlay"), "Description to lay over it", "overlay.json");
const removedCodes = new Set();
const properties = [];
overlay.setRemovable();
overlay.editor.placeholder = '{"products": [{"type": "QVR", "version": "21.0.13+4"}]}';

// ---- The request ----

function hasOverlay() {
    return !byId("overlay").hidden && !overlay.isEmpty;
}

function filesOf() {
    const files = new Map([[machine.name, machine.bytes]]);
    if (hasOverlay()) {
        files.set(overlayName(), overlay.bytes);
    }
    return files;
}

/** Two files may have the same name. */
function overlayName() {
    return overlay.name === machine.name ? overlay.name + " (over it)" : overlay.name;
}

function arrangement() {
    return [
        ...[...removedCodes].flatMap(code => ["--remove", code]),
        ...(hasOverlay() ? ["--add", overlayName()] : []),
    ];
}

function propertyArguments() {
    if (byId("action").value !== kDeferred) {
        return properties
            .map(({name, value}) => [name.value.trim(), value.value])
            .filter(([name, value]) => name !== "" && value !== "")
            .map(([name, value]) => `${name}=${value}`);
    }
    const code = byId("installed").value;
    const data = [code === "" ? "" : `ProductCode=${code}`, byId("more").value.trim()].filter(part => part !== "");
    return [`CustomActionData=${data.join(" ")}`];
}

function showErrors(message) {
    const isOverlays = hasOverlay() && message.startsWith(overlayName() + ":");
    const shown = isOverlays ? overlayName() : machine.name;
    if (!message.startsWith(shown + ":")) {
        return false;
    }
    (isOverlays ? overlay : machine).showError(message.trim().replace(shown, (isOverlays ? overlay : machine).name));
    return true;
}

// ---- Products ----

async function productsOf(args) {
    const {status, out, err} = await runner.run(["--json", ...args, "--", machine.name], filesOf());
    if (status !== 0) {
        throw new Error(err);
    }
    return JSON.parse(out).products;
}

function productItem({code, name, location}) {
    const id = `product-${code}`;
    const box = element("input", {type: "checkbox", id, ".checked": !removedCodes.has(code)});
    box.addEventListener("change", () => {
        removedCodes[box.checked ? "delete" : "add"](code);
        refreshProducts();
    });
    return element("li", {}, box, element("label", {for: id},
        element("span", {class: "product-name"}, name || code),
        element("span", {class: "product-facts"}, code),
        element("span", {class: "product-facts"}, location)));
}

/** The list keeps its elements, and so the focus, unless the products are others. */
function showProducts(products) {
    const list = byId("product-list");
    const facts = JSON.stringify(products);
    if (list.dataset.facts !== facts) {
        list.dataset.facts = facts;
        list.replaceChildren(...products.map(productItem));
    }
    byId("products").hidden = products.length === 0;
}

function showInstalled(products) {
    const select = byId("installed");
    const chosen = select.value;
    select.replaceChildren(...products.map(({code, name}) =>
        element("option", {value: code}, name === "" ? code : `${name}   ${code}`)));
    select.append(element("option", {value: ""}, "Another one, written below"));
    if (products.some(({code}) => code === chosen)) {
        select.value = chosen;
    }
}

let refreshing = 0;

async function refreshProducts() {
    const turn = ++refreshing;
    try {
        const products = await productsOf([]);
        const codes = new Set(products.map(({code}) => code));
        for (const code of removedCodes) {
            if (!codes.has(code)) {
                removedCodes.delete(code);
            }
        }
        const present = removedCodes.size > 0 || hasOverlay() ? await productsOf(arrangement()) : products;
        if (turn === refreshing) {
            machine.showError(null);
            overlay.showError(null);
            showProducts(products);
            showInstalled(present);
        }
    } catch (e) {
        if (turn === refreshing && e.message !== "Stopped" && showErrors(e.message)) {
            byId("products").hidden = true;
        }
    }
}

let typing = 0;

function refreshAfterTyping() {
    clearTimeout(typing);
    typing = setTimeout(refreshProducts, kTypingPause);
}

// ---- Action and properties ----

function addProperty(name = "") {
    const isKnown = name !== "";
    const number = properties.length + 1;
    const row = element("div", {class: "property"});
    const nameInput = element("input", {"aria-label": `Name of property ${number}`, ".value": name,
        spellcheck: "false", placeholder: "Name", class: "mono", ".readOnly": isKnown});
    const valueInput = element("input", {"aria-label": isKnown ? name : `Value of property ${number}`,
        spellcheck: "false", placeholder: "Value", class: "mono"});
    row.append(nameInput, element("span", {"aria-hidden": "true"}, "="), valueInput);
    byId("properties").append(row);
    properties.push({name: nameInput, value: valueInput});
    return isKnown ? valueInput : nameInput;
}

function showAction() {
    const [name, hint, reads] = kActions.find(([each]) => each === byId("action").value);
    const isDeferred = name === kDeferred;
    byId("action-hint").textContent = hint;
    byId("installed-field").hidden = !isDeferred;
    byId("more-field").hidden = !isDeferred;
    byId("add-property").hidden = isDeferred;
    byId("properties").replaceChildren();
    properties.length = 0;
    reads.forEach(each => addProperty(each));
}

// ---- Running ----

function save(name, type, bytes) {
    const address = URL.createObjectURL(new Blob([bytes], {type}));
    element("a", {href: address, download: name}).click();
    setTimeout(() => URL.revokeObjectURL(address), 60000);
}

function button(text, onclick, attributes = {}) {
    return element("button", {type: "button", ".onclick": onclick, ...attributes}, text);
}

function resultButtons(action, written) {
    const after = written.get("after.json");
    return element("p", {class: "buttons"},
        button("Save as a page for a ticket", () => save(`${action}.html`, "text/html", written.get("report.html")), {id: "save-page"}),
        button("Save the machine afterwards", () => save("machine-after.json", "application/json", after), {id: "save-machine"}),
        button("Continue with the machine afterwards", () => {
            removedCodes.clear();
            byId("overlay").hidden = true;
            byId("add-overlay").hidden = false;
            machine.setBytes("machine-after.json", after);
            machine.focus();
        }, {id: "continue"}));
}

function setRunning(isRunning, text) {
    byId("run").disabled = isRunning;
    byId("stop").hidden = !isRunning;
    byId("progress").textContent = text;
    byId("request").setAttribute("aria-busy", String(isRunning));
}

function showFailure(message) {
    byId("outcome").replaceChildren(element("section", {class: "status bad", role: "alert"},
        element("p", {class: "status-line"}, element("span", {class: "mark", "aria-hidden": "true"}, "✕"),
            element("span", {class: "meaning"}, "The action wasn't run")),
        element("pre", {class: "failure"}, message.trim())));
    byId("result").focus({preventScroll: false});
}

function showOutcome(action, {status, out, err, written}) {
    byId("empty-result").hidden = true;
    if (out === "") {
        showFailure(err || `exit status ${status}`);
        return;
    }
    byId("outcome").replaceChildren(...outcomeElements(out, resultButtons(action, written)));
    byId("result").focus({preventScroll: true});
    byId("result").scrollIntoView({block: "nearest"});
}

async function run() {
    clearTimeout(typing);
    ++refreshing;
    const action = byId("action").value;
    const args = ["--json", "--after", "after.json", "--html", "report.html", ...arrangement(),
        "--", machine.name, action, ...propertyArguments()];
    machine.showError(null);
    overlay.showError(null);
    setRunning(true, "Starting");
    const started = performance.now();
    try {
        const result = await runner.run(args, filesOf(), text => { byId("progress").textContent = text; });
        const seconds = ((performance.now() - started) / 1000).toFixed(1);
        if (result.out === "" && showErrors(result.err)) {
            setRunning(false, "The description has an error.");
            byId("outcome").replaceChildren();
            byId("empty-result").hidden = false;
            (result.err.startsWith(machine.name) ? machine : overlay).focus();
            return;
        }
        setRunning(false, `Done in ${seconds} s.`);
        showOutcome(action, result);
    } catch (e) {
        setRunning(false, e.message === "Stopped" ? "Stopped." : "");
        if (e.message !== "Stopped") {
            showFailure(e.message);
        }
    }
}

// ---- Files that are dropped ----

/** The first file is the machine, another one is laid over it; on the overlay's place it is that. */
function takeFiles(files, target) {
    const isForOverlay = byId("overlay").contains(target);
    const [first, second] = files;
    if (first) {
        (isForOverlay ? overlay : machine).load(first);
    }
    if (second && !isForOverlay) {
        showOverlay();
        overlay.load(second);
    }
}

function showOverlay() {
    byId("overlay").hidden = false;
    byId("add-overlay").hidden = true;
}

function listenToDrops() {
    let depth = 0;
    const mark = change => {
        depth += change;
        document.body.classList.toggle("dragging", depth > 0);
    };
    addEventListener("dragenter", () => mark(1));
    addEventListener("dragleave", () => mark(-1));
    addEventListener("dragover", event => event.preventDefault());
    addEventListener("drop", event => {
        event.preventDefault();
        mark(-depth);
        takeFiles(event.dataTransfer.files, event.target);
    });
}

function start() {
    byId("action").append(...kActions.map(([name]) => element("option", {}, name)));
    byId("action").addEventListener("change", showAction);
    byId("add-property").addEventListener("click", () => addProperty().focus());
    byId("add-overlay").addEventListener("click", () => {
        showOverlay();
        overlay.focus();
    });
    machine.onchange = refreshAfterTyping;
    overlay.onchange = refreshAfterTyping;
    overlay.onremove = () => {
        byId("overlay").hidden = true;
        byId("add-overlay").hidden = false;
        byId("add-overlay").focus();
        refreshProducts();
    };
    byId("stop").addEventListener("click", () => runner.stop());
    byId("request").addEventListener("submit", event => {
        event.preventDefault();
        run();
    });
    addEventListener("keydown", event => {
        if (event.key === "Escape") {
            runner.stop();
        }
        if (event.key === "Enter" && event.ctrlKey && !byId("run").disabled) {
            run();
        }
    });
    listenToDrops();
    showAction();
    machine.setText("machine.json", kFirstDescription);
}

start();
