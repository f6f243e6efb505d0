
"use strict";
(() => {
    // ------------------------------------------------------------ texts and elements

    // A machine's texts are hostile: they become text nodes and nothing else, and what would turn the
    // writing direction or has no shape is shown as an escape.
    const UNSHOWN = /[\p{Cc}\p{Cf}\p{Cs}\p{Co}\u2028\u2029\u3164\ufffc]/gu;
    const shown = (text) => String(text ?? "").replace(UNSHOWN, (c) =>
        "\\u{" + c.codePointAt(0).toString(16).padStart(4, "0") + "}");

    function make(tag, attributes, ...children) {
        const element = document.createElement(tag);
        for (const [name, value] of Object.entries(attributes ?? {})) {
            if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
            else if (value === true) element.setAttribute(name, "");
            else if (value !== false && value != null) element.setAttribute(name, value);
        }
        for (const child of children.flat()) {
            if (child != null) element.append(child instanceof Node ? child : shown(child));
        }
        return element;
    }
    const mono = (text) => make("bdi", {class: "mono"}, text);
    const count = (number, one, many) =>
        number.toLocaleString("en-GB") + " " + (number === 1 ? one : many ?? one + "s");
    const collator = new Intl.Collator("en", {numeric: true});

    // ------------------------------------------------------------ tables

    const PAGE = 50;
    const tables = [];

    // `columns`: {title, value(row), show(row), isNumber}; `details(row)` makes what a row unfolds to.
    class Table {
        constructor(title, columns, rows, details) {
            Object.assign(this, {columns, rows, details, at: 0, open: new Set()});
            this.order = {column: null, isDown: false};
            this.body = make("tbody");
            this.place = make("span", {"aria-live": "polite"});
            this.back = make("button", {type: "button", onclick: () => this.turn(-PAGE)}, "Previous");
            this.next = make("button", {type: "button", onclick: () => this.turn(PAGE)}, "Next");
            this.pager = make("div", {class: "tools pager"}, this.back, this.next, this.place);
            this.heads = columns.map((column) => make("th",
                {scope: "col", class: column.isNumber ? "number" : null},
                make("button", {type: "button", onclick: () => this.sortBy(column)}, column.title)));
            const head = make("tr", {}, this.heads, details ? make("th", {scope: "col"}) : null);
            this.element = make("div", {},
                make("table", {"aria-label": title}, make("thead", {}, head), this.body), this.pager);
            tables.push(this);
            this.draw(PAGE);
        }

        setRows(rows) {
            this.rows = rows;
            this.at = 0;
            this.sort();
            this.draw(PAGE);
        }

        sortBy(column) {
            const isSame = this.order.column === column;
            this.order = {column, isDown: isSame ? !this.order.isDown : Boolean(column.isNumber)};
            this.at = 0;
            this.sort();
            this.draw(PAGE);
        }

        sort() {
            const {column, isDown} = this.order;
            if (!column) return;
            const compare = column.isNumber ? (a, b) => a - b : collator.compare;
            const keyed = this.rows.map((row) => [column.value(row), row]);
            keyed.sort((a, b) => isDown ? compare(b[0], a[0]) : compare(a[0], b[0]));
            this.rows = keyed.map((pair) => pair[1]);
        }

        turn(by) {
            this.at = Math.max(0, Math.min(this.at + by, this.rows.length - 1));
            this.draw(PAGE);
        }

        draw(most) {
            const end = Math.min(this.at + most, this.rows.length);
            this.body.replaceChildren(...this.rows.slice(this.at, end).flatMap((r) => this.lines(r)));
            this.columns.forEach((column, i) => {
                const {column: sorted, isDown} = this.order;
                const state = sorted === column ? (isDown ? "descending" : "ascending") : "none";
                this.heads[i].setAttribute("aria-sort", state);
                this.heads[i].firstChild.textContent = column.title
                    + {none: "", ascending: " \u25b2", descending: " \u25bc"}[state];
            });
            this.place.textContent = this.rows.length === 0 ? "Nothing to show"
                : `${this.at + 1} to ${end} of ${this.rows.length.toLocaleString("en-GB")}`;
            this.pager.hidden = this.rows.length > 0 && this.rows.length <= PAGE;
            this.back.disabled = this.at === 0;
            this.next.disabled = end >= this.rows.length;
        }

        lines(row) {
            const cells = this.columns.map((column) =>
                make("td", {class: column.isNumber ? "number" : null},
                    column.show ? column.show(row) : column.value(row)));
            if (!this.details) return [make("tr", {}, cells)];
            const isOpen = this.open.has(row);
            const toggle = make("button", {type: "button", "aria-expanded": String(isOpen), onclick: () => {
                const line = toggle.closest("tr");
                if (this.open.delete(row)) line.nextSibling.remove();
                else {
                    this.open.add(row);
                    line.after(this.unfolded(row));
                }
                toggle.setAttribute("aria-expanded", String(this.open.has(row)));
            }}, "Details");
            const line = make("tr", {}, cells, make("td", {}, toggle));
            return isOpen ? [line, this.unfolded(row)] : [line];
        }

        unfolded(row) {
            return make("tr", {}, make("td", {colspan: this.columns.length + 1},
                make("div", {class: "details"}, this.details(row))));
        }
    }

    function chart(title, rows) {
        const most = Math.max(1, ...rows.map((row) => row.count));
        return make("div", {class: "chart", role: "img", "aria-label": title + ": "
            + rows.map((row) => `${row.label} ${row.count}`).join(", ")}, rows.flatMap((row) => {
            const bar = make("div", {class: "bar " + row.look, hidden: row.count === 0});
            bar.style.width = 100 * row.count / most + "%";
            return [make("span", {}, row.label), make("div", {class: row.look}, bar),
                make("span", {}, row.count.toLocaleString("en-GB"))];
        }));
    }

    // ------------------------------------------------------------ the data

    const VERDICTS = ["parasites", "incomplete", "clean"];
    const KINDS = {0: "file", 1: "suspicious", 2: "helper object"};

    // What texts, findings, settings and unreadable things machines have in common stands once; a
    // machine has their numbers.
    class Fleet {
        constructor(data) {
            this.texts = data.texts;
            const text = (number) => number < 0 ? "" : this.texts[number];
            this.findings = data.findings.map(([kind, path, sha256, size, company, clsid, reasons,
                techniques, places]) => ({
                kind, path: text(path), sha256: text(sha256), size, company: text(company),
                clsid: text(clsid), reasons: text(reasons), techniques: text(techniques),
                places: places.map((place) => place.map(text))}));
            this.settings = data.settings.map(([description, value, status, user, registry]) => ({
                description: text(description), value: text(value), status: text(status),
                user: text(user), registry: text(registry)}));
            this.unreadable = data.unreadable.map((entry) => entry.map(text));
            this.ignored = data.ignored.map((entry) => entry.map(text));
            this.machines = data.machines.map(([name, verdict, windows, users, findings, settings,
                unreadable, ignored, scanned, since]) => ({
                name, verdict: VERDICTS[verdict], windows: text(windows), users: text(users),
                findings, settings, unreadable, ignored, scanned, since}));
            this.missing = data.missing;
        }

        searchText(machine) {
            if (machine.search === undefined) {
                const parts = [machine.name, machine.verdict, machine.windows, machine.users];
                for (const number of machine.findings) {
                    const found = this.findings[number];
                    parts.push(found.path, found.sha256, found.clsid, found.techniques);
                }
                for (const number of machine.settings) parts.push(this.settings[number].value);
                for (const number of machine.ignored) parts.push(...this.ignored[number]);
                machine.search = parts.join("\n").toLowerCase();
            }
            return machine.search;
        }

        // Groups of what machines have in common: each with the numbers of its machines.
        group(list, items, keyOf) {
            const groups = new Map();
            const keys = items.map(keyOf);
            this.machines.forEach((machine, at) => {
                for (const number of machine[list]) {
                    if (keys[number] === null) continue;
                    let entry = groups.get(keys[number]);
                    if (!entry) groups.set(keys[number], entry = {key: keys[number],
                        first: items[number], others: new Set(), machines: new Set()});
                    entry.others.add(number);
                    entry.machines.add(at);
                }
            });
            return [...groups.values()].sort((a, b) => b.machines.size - a.machines.size);
        }
    }

    // The record of one machine, as `scan --record` prints it, in the form of a fleet.
    function fleetOfRecord(record) {
        const data = {texts: [], findings: [], settings: [], unreadable: [], ignored: [],
            missing: []};
        const text = (value) => value == null || value === "" ? -1 : data.texts.push(value) - 1;
        const places = (list) => list.map((place) => [place.kind, place.name, place.user,
            place.registry?.path, place.technique].map(text));
        const file = (kind) => (found) => data.findings.push([kind, text(found.path),
            text(found.sha256), found.size, text(found.company), -1,
            text([...found.reasons, found.known ? "known as " + found.known.name : ""].join(" ").trim()),
            text(found.techniques.join(" ")), places(found.places)]) - 1;
        const findings = [...record.files.map(file(0)), ...record.suspicious.map(file(1)),
            ...record.bhos.map((found) => data.findings.push([2, text(found.file), -1, 0, -1,
                text(found.clsid), text("helper-object"), text(found.technique),
                places([{...found, kind: "helper-object", name: found.clsid}])]) - 1)];
        const settings = record.settings.filter((found) => found.status === "i").map((found) =>
            data.settings.push([found.description, found.value, found.status, found.user,
                found.registry.path].map(text)) - 1);
        const unreadable = record.unreadable.map((entry) =>
            data.unreadable.push([entry.kind, entry.name, entry.error].map(text)) - 1);
        const ignored = (record.ignored ?? []).map((entry) => data.ignored.push([entry.kind, entry.path,
            entry.clsid, entry.sha256, entry.note, entry.date].map(text)) - 1);
        const since = (record.times?.files ?? []).map((entry) => entry.modified).sort()[0] ?? "";
        data.machines = [[record.machine.name, VERDICTS.indexOf(record.verdict),
            text(record.machine.windows), text(record.machine.users.join(", ")), findings, settings,
            unreadable, ignored, record.times?.scanned ?? "", since]];
        return new Fleet(data);
    }

    // ------------------------------------------------------------ sections

    const section = (title, ...content) => make("section", {}, make("h2", {}, title), content);
    const verdict = (machine) => make("span", {class: "verdict " + machine.verdict}, machine.verdict);
    const list = (title, items, show) => items.length === 0 ? [] :
        [make("strong", {}, title), make("ul", {}, items.map((item) => make("li", {}, show(item))))];

    const showIgnored = ([kind, path, clsid, sha256, note, date]) => [
        kind.replace("-", " ") + " ", mono([clsid, path].filter(Boolean).join(" ")),
        make("span", {class: "faint"}, [note, date].filter(Boolean).map((part) => "; " + part).join("")),
        sha256 ? make("div", {class: "mono faint"}, sha256) : null];

    function details(fleet, machine) {
        const findings = machine.findings.map((number) => fleet.findings[number]);
        const showFinding = (found) => [mono(found.path || "(no file)"),
            make("span", {class: "faint"}, " " + [KINDS[found.kind], found.reasons, found.company,
                found.size ? count(found.size, "byte") : "", found.techniques].filter(Boolean).join("; ")),
            found.sha256 ? make("div", {class: "mono faint"}, found.sha256) : null,
            found.places.length ? make("ul", {}, found.places.map(([kind, name, user, registry, technique]) =>
                make("li", {}, kind + ": ", mono(registry || name), user ? " of " + user : "",
                    technique ? " (" + technique + ")" : ""))) : null];
        const content = [
            list("Found", findings, showFinding),
            list("Hijacked settings", machine.settings.map((n) => fleet.settings[n]), (setting) =>
                [setting.description + ": ", mono(setting.value), setting.user ? " of " + setting.user : "",
                    make("div", {class: "mono faint"}, setting.registry)]),
            list("Could not be read", machine.unreadable.map((n) => fleet.unreadable[n]),
                ([kind, name, error]) => [kind + " ", mono(name), ": " + error]),
            list("Ignored", machine.ignored.map((n) => fleet.ignored[n]), showIgnored)].flat();
        return content.length ? content : [make("p", {}, "Nothing was found.")];
    }

    function parasites(fleet, showOnly) {
        // A helper object counts by itself where its file isn't among the files.
        const files = new Set(fleet.findings.filter((found) => found.kind === 0)
            .map((found) => found.path.toLowerCase()));
        const groups = fleet.group("findings", fleet.findings, (found) =>
            found.kind === 1 || (found.kind === 2 && files.has(found.path.toLowerCase())) ? null
                : found.sha256 || found.path.toLowerCase() || found.clsid);
        if (!groups.length) return section("Parasites", make("p", {}, "None was found."));
        const names = (group) => [...new Set([...group.others].map((n) => fleet.findings[n].path
            || fleet.findings[n].clsid))];
        return section("Parasites", make("p", {class: "faint"},
            "By what files hold; the same file under other names is one parasite."),
        new Table("Parasites", [
            {title: "File", value: (group) => names(group)[0], show: (group) => {
                const all = names(group);
                return [mono(all[0]), all.length > 1 ? ` and ${all.length - 1} other names` : ""];
            }},
            {title: "SHA-256", value: (group) => group.first.sha256,
                show: (group) => make("button", {type: "button", class: "link mono", title: group.first.sha256,
                    onclick: (event) => event.target.replaceWith(mono(group.first.sha256))},
                group.first.sha256.slice(0, 16))},
            {title: "Reasons", value: (group) => group.first.reasons},
            {title: "Technique", value: (group) => group.first.techniques},
            {title: "Machines", isNumber: true, value: (group) => group.machines.size,
                show: (group) => make("button", {type: "button", class: "link",
                    onclick: () => showOnly(group.machines, "that have " + names(group)[0])},
                count(group.machines.size, "machine"))},
        ], groups).element);
    }

    function pages(fleet, showOnly) {
        const groups = fleet.group("settings", fleet.settings, (setting) =>
            setting.status === "i" ? setting.description + "\n" + setting.value : null);
        if (!groups.length) return section("Hijacked pages", make("p", {}, "None was found."));
        return section("Hijacked pages", new Table("Hijacked pages", [
            {title: "Setting", value: (group) => group.first.description},
            {title: "Now leads to", value: (group) => group.first.value,
                show: (group) => mono(group.first.value)},
            {title: "Machines", isNumber: true, value: (group) => group.machines.size,
                show: (group) => make("button", {type: "button", class: "link",
                    onclick: () => showOnly(group.machines, "whose setting is " + group.first.value)},
                count(group.machines.size, "machine"))},
        ], groups).element);
    }

    function overTime(fleet) {
        const since = fleet.machines.map((machine) => machine.since).filter(Boolean);
        if (!since.length) return section("Over time", make("p", {class: "faint"},
            "These records hold no times; scan --times adds them."));
        const months = new Map();
        const digits = new Set(since.map((time) => time.slice(0, 7))).size > 36 ? 4 : 7;
        for (const time of since.sort()) {
            const month = time.slice(0, digits);
            months.set(month, (months.get(month) ?? 0) + 1);
        }
        return section("Over time",
            make("p", {class: "faint"}, "Machines by when the oldest file that was found was last written."),
            chart("Over time", [...months].map(([label, number]) =>
                ({label, count: number, look: "plain"}))));
    }

    function machineTable(fleet) {
        const filter = make("input", {type: "search", placeholder: "Filter: a name, path, hash, page",
            "aria-label": "Filter machines"});
        const choice = make("select", {"aria-label": "Verdict"}, make("option", {value: ""}, "All verdicts"),
            VERDICTS.map((name) => make("option", {value: name}, name)));
        const only = make("button", {type: "button", hidden: true});
        const table = new Table("Machines", [
            {title: "Machine", value: (machine) => machine.name, show: (machine) => mono(machine.name)},
            {title: "Verdict", value: (machine) => VERDICTS.indexOf(machine.verdict) + "", show: verdict},
            {title: "Windows", value: (machine) => machine.windows},
            {title: "Found", isNumber: true, value: (machine) => machine.findings.length},
            {title: "Settings", isNumber: true, value: (machine) => machine.settings.length},
            {title: "Not read", isNumber: true, value: (machine) => machine.unreadable
                .filter((number) => fleet.unreadable[number][0] !== "process").length},
        ], fleet.machines, (machine) => details(fleet, machine));
        let among = null;
        const apply = () => {
            const words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
            table.setRows(fleet.machines.filter((machine, at) => (!among || among.has(at))
                && (!choice.value || machine.verdict === choice.value)
                && words.every((word) => fleet.searchText(machine).includes(word))));
        };
        const result = section("Machines", make("div", {class: "tools"}, filter, choice, only), table.element);
        const showOnly = (numbers, why) => {
            among = numbers;
            only.hidden = numbers === null;
            only.textContent = shown("Show all, not only those " + why);
            apply();
            if (numbers) {
                result.scrollIntoView();
                only.focus();
            }
        };
        filter.addEventListener("input", apply);
        choice.addEventListener("change", apply);
        only.addEventListener("click", () => {
            showOnly(null, "");
            filter.focus();
        });
        document.addEventListener("keydown", (event) => {
            if (event.key === "/" && !/^(INPUT|SELECT)$/.test(event.target.tagName)) {
                event.preventDefault();
                filter.focus();
            } else if (event.key === "Escape" && event.target === filter) {
                filter.value = "";
                apply();
            }
        });
        return [result, showOnly];
    }

    function unread(fleet) {
        const groups = fleet.group("unreadable", fleet.unreadable, (entry) =>
            entry[0] === "process" ? null : entry.join("\n"));
        const content = [];
        if (fleet.missing.length) content.push(make("p", {}, "Machines without a record:"),
            new Table("Machines without a record", [
                {title: "Machine", value: (row) => row[0], show: (row) => mono(row[0])},
                {title: "Why", value: (row) => row[1]}], fleet.missing).element);
        if (groups.length) content.push(make("p", {}, "Read, but not to the end:"),
            new Table("What could not be read", [
                {title: "What", value: (group) => group.first[0] + " " + group.first[1],
                    show: (group) => [group.first[0] + " ", mono(group.first[1])]},
                {title: "Why", value: (group) => group.first[2]},
                {title: "Machines", isNumber: true, value: (group) => group.machines.size}],
            groups).element);
        return content.length ? [section("Could not be read", content)] : [];
    }

    function ignored(fleet, showOnly) {
        // One entry of a list, whoever's it is and since when.
        const groups = fleet.group("ignored", fleet.ignored, ([, path, clsid, sha256]) =>
            (sha256 || path.toLowerCase()) + clsid.toLowerCase());
        if (!groups.length) return [];
        return [section("Ignored", make("p", {class: "faint"},
            "What machines' own lists of ignored things passed over; it counts for no verdict."),
        new Table("Ignored", [
            {title: "What", value: ({first: [, path, clsid]}) => path || clsid, show: ({first}) => [
                first[0].replace("-", " ") + " ", mono([first[2], first[1]].filter(Boolean).join(" "))]},
            {title: "Notes", value: (group) => [...new Set([...group.others].map((n) =>
                fleet.ignored[n][4]).filter(Boolean))].join("; ")},
            {title: "Machines", isNumber: true, value: (group) => group.machines.size,
                show: (group) => make("button", {type: "button", class: "link",
                    onclick: () => showOnly(group.machines, "that ignore " + (group.first[1] || group.first[2]))},
                count(group.machines.size, "machine"))},
        ], groups).element)];
    }

    // ------------------------------------------------------------ pages

    function showFleet(fleet) {
        const numbers = Object.fromEntries(VERDICTS.map((name) => [name, 0]));
        for (const machine of fleet.machines) ++numbers[machine.verdict];
        const rows = [...VERDICTS.map((name) => ({label: name, count: numbers[name], look: name})),
            {label: "no record", count: fleet.missing.length, look: "missing"}];
        const [machines, showOnly] = machineTable(fleet);
        return ["Brackenfold: " + count(fleet.machines.length + fleet.missing.length, "machine"),
            section("Verdicts", chart("Verdicts", rows)), parasites(fleet, showOnly),
            pages(fleet, showOnly), overTime(fleet), machines, unread(fleet),
            ignored(fleet, showOnly)];
    }

    function showMachine(fleet) {
        const machine = fleet.machines[0];
        return ["Brackenfold: " + machine.name,
            make("p", {}, verdict(machine), " ", machine.windows,
                machine.users ? "; users: " + machine.users : "",
                machine.scanned ? "; scanned " + machine.scanned : ""),
            make("div", {class: "details"}, details(fleet, machine))];
    }

    function showUndo(undo) {
        return [`Brackenfold: ${undo.operation} on ${undo.machine.name}`,
            make("p", {}, `Record ${undo.undone}, ${undo.time}; ${undo.machine.windows}`),
            section("Changes, the latest first", new Table("Changes", [
                {title: "Kind", value: (row) => row.kind},
                {title: "Place", value: (row) => row.place, show: (row) => mono(row.place)},
                {title: "Before", value: (row) => row.before ?? "", show: (row) => mono(row.before ?? "(nothing)")},
                {title: "After", value: (row) => row.after ?? "", show: (row) => mono(row.after ?? "(nothing)")},
                {title: "An undo now", value: (row) => row.outcome}], undo.changes).element),
            undo.failed.length ? section("What an undo could not take back", new Table("What an undo could not take back", [
                {title: "Kind", value: (row) => row.kind},
                {title: "Name", value: (row) => row.name, show: (row) => mono(row.name)},
                {title: "Why", value: (row) => row.error}], undo.failed).element) : null];
    }

    const data = JSON.parse(document.getElementById("data").textContent);
    const [title, ...content] = data.undo ? showUndo(data.undo)
        : data.record ? showMachine(fleetOfRecord(data.record)) : showFleet(new Fleet(data));
    document.title = shown(title);
    document.getElementById("page").append(make("h1", {}, title), ...content.flat().filter(Boolean));

    const MOST_PRINTED = 5000;
    addEventListener("beforeprint", () => tables.forEach((table) => table.draw(MOST_PRINTED)));
    addEventListener("afterprint", () => tables.forEach((table) => table.draw(PAGE)));
    document.documentElement.setAttribute("data-ready", Math.round(performance.now()));
})();
