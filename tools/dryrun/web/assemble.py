#!/usr/bin/env python3
"""Puts a template and the files that it names into one file that needs nothing beside it.

usage: assemble.py TEMPLATE OUTPUT MODULE_JS MODULE_WASM

Each /*@NAME*/ in the template is replaced by the file NAME of its directory, /*@module*/ by the module.
"""

import base64
import re
import sys
from pathlib import Path


def main():
    template, output, loader, module = map(Path, sys.argv[1:])
    wasm = base64.b64encode(module.read_bytes()).decode()
    parts = {"module": f'{loader.read_text("utf-8")}\nconst kWasm = "{wasm}";\n'}

    def part(match):
        name = match[1]
        text = parts.get(name) or (template.parent / name).read_text("utf-8")
        return marker.sub(part, text)

    marker = re.compile(r"/\*@([\w.]+)\*/")
    output.write_text(marker.sub(part, template.read_text("utf-8")), "utf-8")


if __name__ == "__main__":
    main()
