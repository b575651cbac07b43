// Runs the module outside the page's own thread, so that the page stays alive.
const compiled = compileDryRun();

/** Answers {id, args, files} with any number of {id, progress} and one {id, status, out, err, written}. */
onmessage = async ({data: {id, args, files}}) => {
    const written = new Map();
    const host = {
        readFile: name => files.get(name) ?? null,
        writeFile(name, bytes) {
            written.set(name, bytes);
            return true;
        },
        progress(text) { postMessage({id, progress: text}); },
    };
    try {
        host.progress("Starting");
        postMessage({id, ...await runDryRun(await compiled, args, host), written});
    } catch (e) {
        const err = new TextEncoder().encode("The dry run can't be started: " + e);
        postMessage({id, status: 134, out: new Uint8Array(), err, written});
    }
};
