// Where in a description an error is: from the place that a message names to an offset in the text.

/** The places of JSON that may be broken: those before the first fault. */
class JsonPlaces {
    #text;
    #at = 0;
    /** From the place as messages name it, "products[0].bits", to {start, end} in the text. */
    places = new Map();

    constructor(text) {
        this.#text = text;
        try {
            this.#value("");
        } catch {
            // The places before the fault are known.
        }
    }

    #skip() {
        while (/\s/.test(this.#text[this.#at] ?? "x")) {
            ++this.#at;
        }
    }

    #expect(character) {
        this.#skip();
        if (this.#text[this.#at] !== character) {
            throw new Error("fault");
        }
        ++this.#at;
    }

    #is(character) {
        this.#skip();
        return this.#text[this.#at] === character;
    }

    #string() {
        this.#skip();
        const match = /"(?:[^"\\]|\\.)*"/sy;
        match.lastIndex = this.#at;
        const found = match.exec(this.#text);
        if (!found) {
            throw new Error("fault");
        }
        this.#at = match.lastIndex;
        return JSON.parse(found[0]);
    }

    #value(path) {
        this.#skip();
        const start = this.#at;
        if (this.#is("{")) {
            this.#members(path);
        } else if (this.#is("[")) {
            this.#elements(path);
        } else if (this.#is('"')) {
            this.#string();
        } else {
            const match = /[\w.+-]+/y;
            match.lastIndex = this.#at;
            if (!match.exec(this.#text)) {
                throw new Error("fault");
            }
            this.#at = match.lastIndex;
        }
        this.places.set(path, {start, end: this.#at});
    }

    #members(path) {
        this.#expect("{");
        while (!this.#is("}")) {
            const start = this.#at;
            const name = this.#string();
            const member = path === "" ? name : `${path}.${name}`;
            this.places.set(member + " name", {start, end: this.#at});
            this.#expect(":");
            this.#value(member);
            if (!this.#is("}")) {
                this.#expect(",");
            }
        }
        this.#expect("}");
    }

    #elements(path) {
        this.#expect("[");
        for (let index = 0; !this.#is("]"); ++index) {
            this.#value(`${path}[${index}]`);
            if (!this.#is("]")) {
                this.#expect(",");
            }
        }
        this.#expect("]");
    }
}

function offsetOf(text, line, column) {
    let start = 0;
    for (let i = 1; i < line; ++i) {
        start = text.indexOf("\n", start) + 1;
    }
    return start + column - 1;
}

function lineOf(text, offset) {
    return text.slice(0, offset).split("\n").length;
}

/**
 * Returns {start, end, line} of what a message about the text complains of; null if the message names
 * no place in it. A member that the message names is preferred to the object that has it.
 */
function placeOfError(text, message) {
    const syntax = /line (\d+), column (\d+)/.exec(message);
    if (syntax) {
        const start = Math.max(0, offsetOf(text, Number(syntax[1]), Number(syntax[2])));
        return {start, end: start + 1, line: Number(syntax[1])};
    }
    const {places} = new JsonPlaces(text);
    let best = "";
    for (const path of places.keys()) {
        if (path.length > best.length && message.startsWith(path + ":")) {
            best = path;
        }
    }
    const found = /found "(.*)"/.exec(message)?.[1];
    const name = places.get(`${best === "" ? "" : best + "."}${found} name`);
    if (best === "" && !name) {
        return null;
    }
    const place = name ?? places.get(best);
    return {...place, line: lineOf(text, place.start)};
}
