// What the pages do beside Doxygen's own scripts and the theme's: the full-text search, the links to the sections of a
// class, a tree with all guides in sight. The search needs no server and works on files, so what is searched comes as a
// script, when it is first used.
"use strict";

(function () {
    const RESULTS = 12;
    const EXCERPT = 150; // characters

    // --- the index

    // Whole words, and the parts of names: "SetVlanParams" is also "set", "vlan" and "params".
    function words(text) {
        const found = [];
        for (const word of String(text).match(/[A-Za-z0-9]+/g) || []) {
            found.push(word.toLowerCase());
            const parts = word.match(/[A-Z]+(?![a-z])|[A-Z]?[a-z]+|[0-9]+/g) || [];
            if (parts.length > 1) parts.forEach((part) => found.push(part.toLowerCase()));
        }
        return found;
    }

    // searchSections is an array of [address, title, page, kind, text], as finish_pages.py writes it. The page stays
    // usable meanwhile, as a phone takes a second or two.
    async function buildIndex(sections) {
        const stems = new Map(); // of all words, which are few beside the times that they occur
        function stem(word) {
            let known = stems.get(word);
            if (!known) stems.set(word, known = lunr.stemmer(new lunr.Token(word, {})).toString());
            return known;
        }
        const builder = new lunr.Builder();
        builder.tokenizer = (text) => words(text).map((word) => new lunr.Token(stem(word), {}));
        builder.searchPipeline.add(lunr.stemmer);
        builder.field("title", { boost: 12 });
        builder.field("page", { boost: 2 });
        builder.field("text");
        builder.ref("id");
        for (const [id, [, title, page, kind, text]] of sections.entries()) {
            builder.add({ id, title, page, text }, { boost: kind === "guide" ? 2 : 1 });
            if (id % 50 === 49) await new Promise((resume) => setTimeout(resume));
        }
        return builder.build();
    }

    // The sections that have all words, or else any of them, the best ones first.
    function find(index, sections, text) {
        const scores = words(text).filter((word, at, all) => all.indexOf(word) === at).map((word) => {
            const found = index.query((query) => {
                query.term(word, { boost: 10 });
                if (word.length > 1) query.term(word, { usePipeline: false, wildcard: lunr.Query.wildcard.TRAILING });
            });
            return new Map(found.map(({ ref, score }) => [ref, score]));
        });
        const total = new Map();
        for (const score of scores) score.forEach((value, ref) => total.set(ref, (total.get(ref) || 0) + value));
        const exact = text.trim().toLowerCase();
        total.forEach((value, ref) => {
            if (sections[ref][1].toLowerCase() === exact) total.set(ref, value * 4);
        });
        const inAll = [...total].filter(([ref]) => scores.every((score) => score.has(ref)));
        return (inAll.length ? inAll : [...total]).sort((a, b) => b[1] - a[1]).map(([ref]) => sections[ref]);
    }

    // --- its view

    function element(name, properties, ...children) {
        const made = Object.assign(document.createElement(name), properties);
        made.append(...children);
        return made;
    }

    // The text around the first of the words, which are marked.
    function excerpt(text, query) {
        const looked = words(query).map((word) => word.replace(/s$/, "")).filter(Boolean);
        const pattern = new RegExp(looked.join("|") || "$^", "gi");
        const first = Math.max(text.search(pattern), 0);
        let from = Math.max(first - EXCERPT / 3, 0);
        if (from > 0) from = text.indexOf(" ", from) + 1;
        let to = Math.min(from + EXCERPT, text.length);
        if (to < text.length) to = Math.max(text.lastIndexOf(" ", to), from + 1);
        const made = element("p", {}, from > 0 ? "… " : "");
        const shown = text.slice(from, to);
        let end = 0;
        for (const match of shown.matchAll(pattern)) {
            made.append(shown.slice(end, match.index), element("mark", {}, match[0]));
            end = match.index + match[0].length;
        }
        made.append(shown.slice(end), to < text.length ? " …" : "");
        return made;
    }

    function addSearch(base) {
        const box = document.getElementById("MSearchField");
        const list = element("div", { id: "search-results", hidden: true });
        list.setAttribute("role", "listbox");
        list.setAttribute("aria-label", "Search results");
        document.body.append(list);
        let index = null;
        let loading = null;
        let selected = -1;

        function load() {
            loading ??= Promise.all(["lunr.min.js", "search-data.js"].map((name) => new Promise((done, failed) => {
                document.head.append(element("script", { src: base + name, onload: done, onerror: failed }));
            }))).then(() => buildIndex(searchSections)).then((built) => { index = built; });
            return loading;
        }

        function open(shown) {
            list.hidden = !shown;
            box.setAttribute("aria-expanded", String(shown));
            if (!shown) box.removeAttribute("aria-activedescendant");
        }

        function select(at) {
            const options = list.querySelectorAll("a");
            options.forEach((option) => option.setAttribute("aria-selected", "false"));
            selected = options.length ? (at + options.length) % options.length : -1;
            if (selected < 0) return;
            options[selected].setAttribute("aria-selected", "true");
            options[selected].scrollIntoView({ block: "nearest" });
            box.setAttribute("aria-activedescendant", options[selected].id);
        }

        function show() {
            selected = -1;
            if (!words(box.value).length) return open(false);
            const found = find(index, searchSections, box.value);
            list.replaceChildren(...found.slice(0, RESULTS).map(([address, title, page, kind, text], at) => {
                const option = element("a", { id: "search-result-" + at, href: base + address, className: kind },
                    element("strong", {}, title), element("span", {}, page === title ? kind : page),
                    excerpt(text, box.value));
                option.setAttribute("role", "option");
                return option;
            }));
            if (!found.length) list.replaceChildren(element("p", {}, "Nothing found."));
            list.scrollTop = 0;
            open(true);
        }

        box.addEventListener("focus", load);
        box.addEventListener("input", () => load().then(show));
        box.addEventListener("keydown", (event) => {
            if (event.key === "Escape") { open(false); box.blur(); }
            else if (list.hidden) return;
            else if (event.key === "ArrowDown") select(selected + 1);
            else if (event.key === "ArrowUp") select(selected - 1);
            else if (event.key === "Enter") list.querySelectorAll("a")[Math.max(selected, 0)]?.click();
            else return;
            event.preventDefault();
        });
        list.addEventListener("click", (event) => { if (event.target.closest("a")) open(false); });
        document.addEventListener("pointerdown", (event) => {
            if (!list.contains(event.target) && event.target !== box) open(false);
        });
        document.addEventListener("keydown", (event) => {
            if (event.key !== "/" || event.ctrlKey || event.metaKey || event.altKey) return;
            if (/^(INPUT|TEXTAREA|SELECT)$/.test(document.activeElement.tagName)) return;
            event.preventDefault();
            box.focus();
            box.select();
        });
        box.form?.addEventListener("submit", (event) => event.preventDefault());
    }

    // --- a class

    // Doxygen's line of links below the title has kinds of members and not the sections that a header names.
    function addSectionLinks() {
        const line = document.querySelector("div.header .summary");
        if (!line) return;
        function add(heading, before) {
            heading.id ||= "section-" + words(heading.textContent).join("-");
            line.insertBefore(element("a", { href: "#" + heading.id }, heading.textContent.trim()), before);
            line.insertBefore(document.createTextNode(" | "), before);
        }
        const first = line.firstChild;
        const own = document.querySelectorAll("table.memberdecls h2.groupheader:not(:has(a[id]))");
        own.forEach((heading) => add(heading, first));
        const details = document.getElementById("more");
        if (details) add(details.parentElement, line.querySelector("a[href$='-members.html']"));
    }

    // --- the tree

    // The guides are all in sight. The sections of the first page are not, as its own table of contents has them.
    function openGuides() {
        const plain = window.getNode;
        window.getNode = (tree, parent) => {
            plain(tree, parent);
            for (const child of parent.children) {
                if (child.labelSpan.querySelector("a[class^='index.html:']")) child.li.hidden = true;
                if (!Array.isArray(child.childrenData) || child.childrenVisited) continue;
                window.getNode(tree, child);
                child.getChildrenUL().style.display = "block";
                child.plus_img.innerHTML = window.arrowDown;
                child.expanded = true;
            }
        };
    }

    // --- the theme's buttons

    function makeButtonsReachable() {
        const buttons = "doxygen-awesome-fragment-copy-button, doxygen-awesome-dark-mode-toggle";
        document.querySelectorAll(buttons).forEach((button) => {
            button.tabIndex = 0;
            button.setAttribute("role", "button");
            button.setAttribute("aria-label", button.title);
            button.addEventListener("keydown", (event) => {
                if (event.key !== "Enter" && event.key !== " ") return;
                event.preventDefault();
                button.click();
            });
        });
    }

    const base = document.currentScript.getAttribute("src").replace(/pages\.js$/, "");
    openGuides();
    DoxygenAwesomeDarkModeToggle.init();
    DoxygenAwesomeFragmentCopyButton.init();
    DoxygenAwesomeParagraphLink.init();
    DoxygenAwesomeInteractiveToc.init();
    document.addEventListener("DOMContentLoaded", () => {
        addSearch(base);
        addSectionLinks();
    });
    window.addEventListener("load", makeButtonsReachable);
})();
