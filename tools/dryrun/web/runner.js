/** Runs the dry run in a worker, one call after the other. */
class Runner {
    #worker = null;
    #waiting = new Map();
    #lastId = 0;

    /**
     * Runs the program with these arguments and files (a Map from names to bytes). Returns a promise
     * of {status, out, err, written}; it is rejected when `stop` is called first. `onProgress` is
     * called with a line for each step.
     */
    run(args, files, onProgress = () => {}) {
        this.#worker ??= this.#start();
        const id = ++this.#lastId;
        return new Promise((resolve, reject) => {
            this.#waiting.set(id, {resolve, reject, onProgress});
            this.#worker.postMessage({id, args, files});
        });
    }

    /** Ends whatever runs. */
    stop() {
        this.#worker?.terminate();
        this.#worker = null;
        for (const {reject} of this.#waiting.values()) {
            reject(new Error("Stopped"));
        }
        this.#waiting.clear();
    }

    #start() {
        const source = document.getElementById("worker-source").textContent;
        const address = URL.createObjectURL(new Blob([source], {type: "text/javascript"}));
        const worker = new Worker(address);
        URL.revokeObjectURL(address);
        worker.onmessage = ({data}) => this.#receive(data);
        worker.onerror = event => {
            for (const {reject} of this.#waiting.values()) {
                reject(new Error(event.message || "the worker can't be started"));
            }
            this.#waiting.clear();
        };
        return worker;
    }

    #receive({id, progress, ...result}) {
        const call = this.#waiting.get(id);
        if (!call) {
            return;
        }
        if (progress !== undefined) {
            call.onProgress(progress);
            return;
        }
        this.#waiting.delete(id);
        const decoder = new TextDecoder();
        call.resolve({...result, out: decoder.decode(result.out), err: decoder.decode(result.err)});
    }
}
