// The dry run under node: node dryrun.mjs MACHINE [ACTION [PROPERTY=VALUE]…] [OPTION]…
import {readFileSync, writeFileSync} from "node:fs";

/*@module*/
/*@host.js*/

const host = {
    readFile(name) {
        try {
            return readFileSync(name === "-" ? 0 : name);
        } catch {
            return null;
        }
    },
    writeFile(name, bytes) {
        try {
            writeFileSync(name, bytes);
            return true;
        } catch {
            return false;
        }
    },
    inColours: Boolean(process.stdout.isTTY && !process.env.NO_COLOR && process.env.TERM !== "dumb"),
};

const {status, out, err} = await runDryRun(await compileDryRun(), process.argv.slice(2), host);
process.stdout.write(out);
process.stderr.write(err);
process.exitCode = status;
