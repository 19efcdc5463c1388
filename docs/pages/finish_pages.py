"""Finishes the pages that Doxygen has written: the members of a class come directly behind its example, all
scripts and styles use the same width for phones, and the search gets its data.

usage: finish_pages.py DIRECTORY
"""

import json
import pathlib
import re
import sys

from lxml import html

# Below this width, in pixels, the text has the page to itself. Theme and menu have it at 768.
PHONE = 800


def text_of(*nodes):
    """The text of nodes, without the pop-ups of code and with single blanks."""
    parts = []
    for node in nodes:
        parts += node.xpath('.//text()[not(ancestor::div[@class="ttc"] or ancestor::span[@class="permalink"])]')
    return re.sub(r"\s+", " ", " ".join(parts).replace("\u200c", "")).strip()


def sections_of_guide(address, page, title):
    """The sections of a guide, each from its heading to the next one."""
    sections = [[address, title, title, "guide", []]]
    for node in page.xpath('//div[@class="contents"]//div[@class="textblock"]/*'):
        anchor = node.xpath('self::*[starts-with(name(), "h")]/a[@class="anchor"]/@id')
        if anchor:
            sections.append([f"{address}#{anchor[0]}", text_of(node), title, "guide", []])
        else:
            sections[-1][-1].append(text_of(node))
    return [[*section[:-1], " ".join(section[-1])] for section in sections]


def sections_of_reference(address, page, title, kind):
    """A class, namespace, group or header, and its members."""
    texts = page.xpath('//div[@class="contents"]/div[@class="textblock"] | //div[@class="contents"]/p[not(code)]')
    sections = [[address, title, title, kind, text_of(*texts)]]
    for row in page.xpath('//table[@class="memberdecls"]//tr[starts-with(@class, "memitem:")]'):
        name = row.xpath('td[contains(@class, "ItemRight")]//*[self::a[contains(@class, "el")] or self::b]')
        identity = row.get("class").removeprefix("memitem:").split()
        if not identity or not name or page.xpath(f'//tr[@class="memdesc:{identity[0]}"]//span[@class="section"]'):
            continue
        described = page.xpath(f'//tr[@class="memdesc:{identity[0]}"]/td[@class="mdescRight"]')
        details = page.xpath(f'//a[@id="{identity[0]}"]/following-sibling::div[@class="memitem"][1]'
                             '/div[@class="memdoc"]')
        target = name[0].get("href") or f"{address}#{identity[0]}"
        sections.append([target, text_of(name[0]), title, "member", text_of(*(details or described))])
    return sections


def sections_of(path):
    page = html.parse(str(path)).getroot()
    title = text_of(*page.xpath('//div[@class="title"]'))
    found = re.fullmatch(r"(.*?) (?:(Class|Struct|Namespace|File)(?: Template)? Reference.*)", title)
    if not found:
        is_guide = page.xpath('//div[@class="contents"]//div[@class="textblock"]') and not page.xpath(
            '//table[@class="directory"]')
        return sections_of_guide(path.name, page, title) if is_guide else []
    kind = {"File": "header"}.get(found[2], found[2].lower())
    return sections_of_reference(path.name, page, found[1].replace(" ", ""), kind)


def members_after_example(text):
    """The page of a class with what its description says after the first example moved behind the list of members."""
    details = text.find('<a name="details" id="details"></a>')
    example = text.find("<!-- fragment -->", details)
    members = text.find('<table class="memberdecls">', details)
    if not -1 < details < example < members:
        return text
    example += len("<!-- fragment -->")
    rest = text[example:members]
    for name in ("div", "dl", "li", "ol", "p", "table", "ul"): # the example has to stand by itself, not in a list
        opened, closed = len(re.findall(rf"<{name}\b", rest)), rest.count(f"</{name}>")
        if closed - opened != (name == "div"):
            return text
    if len(re.sub(r"<[^>]*>|\s", "", rest)) < 100:
        return text
    end = members
    while text.startswith('<table class="memberdecls">', end):
        end = text.index("</table>", end) + len("</table>")
    heading = '\n<h2 class="groupheader"><a id="more" name="more"></a>Details</h2>\n<div class="textblock">'
    return text[:example] + "</div>\n" + text[members:end] + heading + rest + text[end:]


def without_dead_links(text, directory):
    """Doxygen links to a list of nested classes that are all private, and to friends that it does not show."""
    if 'id="nested-classes"' not in text:
        text = re.sub(r'<a href="#nested-classes">[^<]*</a>(?: &#124;)?', "", text)

    def row(match):
        shown = re.search(rf'id="{match[2]}"', (directory / match[1]).read_text(encoding="utf-8"))
        return match[0] if shown else ""
    return re.sub(r'  <tr class="(?:odd|even)"><td class="entry"><a class="el" href="([^"#]+)#([^"]+)">.*\n', row, text)


def with_titles(text, titles):
    """Links that show the name of a file, as it is read in the sources, show the title of the page instead, and those
    that show code have it as code."""
    text = re.sub(r'(<a class="el" [^>]*>)`([^`<]*)`</a>', r"\1<code>\2</code></a>", text)
    return re.sub(r'(<a class="el" href="([^"#]+)[^"]*">)[\w/-]+\.md</a>',
                  lambda match: f"{match[1]}{titles[match[2]]}</a>" if match[2] in titles else match[0], text)


def edit(directory, pattern, change):
    for path in directory.glob(pattern):
        before = path.read_text(encoding="utf-8")
        after = change(before)
        if after != before:
            path.write_text(after, encoding="utf-8")


def main(directory):
    # An empty line of code is copied as one, without the blank that Doxygen puts into it.
    edit(directory, "*.html", lambda text: re.sub('<div class="line">(?:<span class="comment"></span>)? </div>',
                                                  '<div class="line"></div>', text))
    titles = {path.name: re.search(r'<div class="title">(.*?) ?</div>', path.read_text(encoding="utf-8"))
              for path in directory.glob("*.html")}
    titles = {name: re.sub("<[^>]*>", "", title[1]) for name, title in titles.items() if title}
    edit(directory, "*.html", lambda text: with_titles(text, titles))
    # A constructor has no type in front of its name, and needs no line for it on a phone.
    no_type = r'(<td class="memItemLeft)(" align="right" valign="top">(?:<a id="\w+" name="\w+"></a>\n)?&#160;</td>)'
    edit(directory, "*.html", lambda text: re.sub(no_type, r"\1 empty\2", text))
    for pattern in ("class*.html", "struct*.html"):
        edit(directory, pattern, lambda text: members_after_example(without_dead_links(text, directory)))
    edit(directory, "*.css", lambda text: re.sub(r"(m(?:ax|in)-width: ?)76([78])px",
                                                 lambda match: f"{match[1]}{PHONE - 8 + int(match[2])}px", text))
    edit(directory, "menu.js", lambda text: text.replace("outerWidth()<768", f"outerWidth()<{PHONE}"))
    edit(directory, "resize.js", lambda text: text.replace("desktop_vp=768", f"desktop_vp={PHONE}"))

    order = ("class", "struct", "namespace", "group") # where a member is on several pages, the first one counts
    paths = sorted(directory.glob("*.html"), key=lambda path: (not path.name.startswith(order), path.name))
    sections, seen = [], set()
    for path in paths:
        for section in sections_of(path):
            if section[0] not in seen:
                seen.add(section[0])
                sections.append(section)
    text = json.dumps(sections, ensure_ascii=False, separators=(",", ":"))
    (directory / "search-data.js").write_text(f"const searchSections = {text};\n", encoding="utf-8")


main(pathlib.Path(sys.argv[1]))
