#include "dryrun/HtmlReport.h"

#include <sstream>
#include <utility>

#include "dryrun/Description.h"

namespace {

constexpr const char* kStyle = R"(
:root { color-scheme: light dark; --line: #d8dde3; --soft: #5c6670; --page: #ffffff; --text: #1c2126;
  --panel: #f5f7f9; --good: #1a6b37; --bad: #a4262c; --warn: #8a5a00; }
@media (prefers-color-scheme: dark) { :root { --line: #3a4149; --soft: #a3adb8; --page: #16191d;
  --text: #e6e9ec; --panel: #1f2429; --good: #6fcf8e; --bad: #ff8a8f; --warn: #e5b567; } }
body { margin: 2rem auto; max-width: 62rem; padding: 0 1.25rem; background: var(--page);
  color: var(--text); font: 15px/1.5 "Segoe UI", system-ui, sans-serif; }
h1 { font-size: 1.35rem; margin: 0 0 .25rem; font-weight: 600; }
h2 { font-size: 1rem; margin: 1.75rem 0 .5rem; font-weight: 600; }
.status { font-size: 1.05rem; margin: 0 0 1rem; }
.good { color: var(--good); } .bad { color: var(--bad); } .warn { color: var(--warn); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .15rem 1rem; margin: 0; }
dt { color: var(--soft); } dd { margin: 0; overflow-wrap: anywhere; }
ul { margin: .25rem 0; padding-left: 1.25rem; }
.panel { background: var(--panel); border: 1px solid var(--line); border-radius: 6px;
  padding: .75rem 1rem; margin: .75rem 0; white-space: pre-wrap; overflow-wrap: anywhere; }
table { border-collapse: collapse; width: 100%; table-layout: fixed; }
th, td { text-align: left; vertical-align: top; padding: .35rem .6rem .35rem 0;
  border-bottom: 1px solid var(--line); overflow-wrap: anywhere; }
th { color: var(--soft); font-weight: 500; } th:first-child, td:first-child { width: 1.4rem; }
  th:nth-child(2) { width: 42%; }
td:first-child { font-weight: 700; }
code, pre, td { font-family: Consolas, "Cascadia Mono", ui-monospace, monospace; font-size: 13px; }
pre { white-space: pre-wrap; overflow-wrap: anywhere; margin: .5rem 0; }
summary { cursor: pointer; font-weight: 600; margin-top: 1.75rem; }
footer { margin-top: 2rem; color: var(--soft); font-size: .85rem; }
@media (max-width: 40rem) { table, tbody, tr, td { display: block; } thead { display: none; }
  tr { border-bottom: 1px solid var(--line); padding: .4rem 0; } td { border: 0; padding: 0; }
  td:empty { display: none; } td[data-name]::before { content: attr(data-name) " ";
  color: var(--soft); } }
@media print { details { display: block; } }
)";

/// A text with the characters that HTML reserves replaced.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string textOf(const Json& value) {
    return escaped(value.is_string() ? value.get<std::string>() : value.dump());
}

void writeAsked(std::ostream& page, const Json& outcome) {
    const Json& asked = outcome["asked"];
    page << "<dl>\n";
    const auto row = [&](const char* name, const std::string& text) {
        page << "<dt>" << name << "</dt><dd>" << text << "</dd>\n";
    };
    row("Machine", textOf(asked["machine"]));
    for (const Json& code : asked["removed"]) {
        row("Without product", "<code>" + textOf(code) + "</code>");
    }
    for (const Json& name : asked["added"]) {
        row("Overlaid with", textOf(name));
    }
    for (const Json& property : outcome["properties"]) {
        row("Property", "<code>" + textOf(property) + "</code>");
    }
    if (const std::string failure = asked["failure"]; !failure.empty()) {
        row("Failing call", "<code>" + textOf(asked["failure"]) + "</code>");
    }
    page << "</dl>\n";
}

void writeRemarks(std::ostream& page, const Json& outcome) {
    if (!outcome["unread"].empty()) {
        page << "<h2 class=\"warn\">Not described</h2>\n<ul>\n";
        for (const Json& unread : outcome["unread"]) {
            page << "<li><code>" << textOf(unread["what"]) << "</code> (status "
                 << textOf(unread["status"]) << "). " << textOf(unread["affects"]) << "</li>\n";
        }
        page << "</ul>\n";
    }
    if (!outcome["notes"].empty()) {
        page << "<h2>Notes</h2>\n<ul>\n";
        for (const Json& note : outcome["notes"]) {
            page << "<li>" << textOf(note) << "</li>\n";
        }
        page << "</ul>\n";
    }
    for (const Json& box : outcome["boxes"]) {
        page << "<h2>Message box</h2>\n<div class=\"panel\"><strong>" << textOf(box["title"])
             << "</strong>\n"
             << textOf(box["text"]) << "</div>\n";
    }
    for (const Json& broadcast : outcome["broadcasts"]) {
        page << "<p>Broadcast to all windows: <code>" << textOf(broadcast) << "</code></p>\n";
    }
}

const char* classOf(const std::string& sign) {
    return sign == "+" ? "good" : sign == "-" ? "bad" : "warn";
}

void writeGroup(std::ostream& page, const Json& changes, const std::string& group) {
    std::string head = "<h2>" + group +
                       "</h2>\n<table>\n<thead><tr><th></th><th>What</th><th>Before</th>"
                       "<th>After</th></tr></thead>\n<tbody>\n";
    for (const Json& change : changes) {
        if (change["group"] != group) {
            continue;
        }
        const std::string sign = change["sign"];
        page << std::exchange(head, "") << "<tr><td class=\"" << classOf(sign) << "\">" << sign
             << "</td><td>" << textOf(change["what"]) << "</td><td data-name=\"before\">"
             << textOf(change["before"]) << "</td><td data-name=\"after\">"
             << textOf(change["after"]) << "</td></tr>\n";
    }
    if (head.empty()) {
        page << "</tbody>\n</table>\n";
    }
}

void writeChanges(std::ostream& page, const Json& changes) {
    if (changes.empty()) {
        page << "<h2>Changes</h2>\n<p>Nothing changes.</p>\n";
    }
    for (const char* group :
         {"Registry", "Path", "Files", "Start menu", "At the next restart", "Properties"}) {
        writeGroup(page, changes, group);
    }
}

}  // namespace

std::string htmlReport(const Json& outcome) {
    std::ostringstream page;
    const std::string action = textOf(outcome["action"]);
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>"
         << action << ": dry run</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n<h1>"
         << action << "</h1>\n<p class=\"status " << (outcome["status"] == 0 ? "good" : "bad")
         << "\">Status " << textOf(outcome["status"]) << ": " << textOf(outcome["meaning"])
         << "</p>\n";
    writeAsked(page, outcome);
    writeRemarks(page, outcome);
    writeChanges(page, outcome["changes"]);
    page << "<details>\n<summary>Log</summary>\n<pre>" << textOf(outcome["log"])
         << "</pre>\n</details>\n<footer>Predicted by the dry run of norvca " NORV_VERSION
            ". Texts of Windows' errors in the log are English and not Windows' own.</footer>\n"
            "</body>\n</html>\n";
    return page.str();
}
