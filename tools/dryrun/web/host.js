// Runs the module: once for each instance, with files that the caller reads and writes.

/** Compiles the module; instances of it can be made again and again. */
function compileDryRun() {
    const text = atob(kWasm);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) {
        bytes[i] = text.charCodeAt(i);
    }
    return WebAssembly.compile(bytes);
}

/**
 * Runs the program with these arguments. `readFile(name)` returns bytes, or null for a file that
 * can't be read; `writeFile(name, bytes)` returns whether it could; `progress(text)` is called before
 * each longer step. Returns the exit status and the bytes of both streams. A program that aborts has the status that a shell shows for it, 134.
 */
async function runDryRun(compiled, args, {readFile, writeFile, progress = () => {}, inColours = false}) {
    const result = {status: 0, out: new Uint8Array(), err: new Uint8Array()};
    let aborted = "";
    const module = await DryRun({
        instantiateWasm(imports, receive) {
            WebAssembly.instantiate(compiled, imports).then(receive);
            return {};
        },
        readFile,
        writeFile,
        progress,
        printResult(bytes) { result.out = bytes; },
        printError(bytes) { result.err = bytes; },
        print() {},
        printErr(line) { aborted += line.startsWith("Aborted(") ? "" : line + "\n"; },
    });
    const encoded = new TextEncoder().encode(args.map(argument => argument + "\0").join(""));
    const memory = module._malloc(encoded.length);
    module.HEAPU8.set(encoded, memory);
    try {
        result.status = module._runDryRun(memory, encoded.length, inColours);
    } catch (e) {
        result.status = 134;
        result.err = new TextEncoder().encode(aborted || e + "\n");
    }
    return result;
}
