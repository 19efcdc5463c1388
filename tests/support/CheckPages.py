"""Looks at the HTML pages as a reader does. LinkChecker follows every link and every address that the search can give;
Chromium shows each page at the widths of a phone and of a narrow window, searches, copies and changes the colours.

usage: CheckPages.py links|widths|search|reader DIRECTORY
"""

import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import textwrap

# What is typed, and patterns that each fit one of the first five results: its address, a blank and its title.
SEARCHES = (
    ("thread", r"design\.html#.* Threads", r"indexes\.html#.* .*threads", r"receiving\.html#.* .*threads"),
    ("threads", r"design\.html#.* Threads"),
    ("checksum", r"wildcards\.html#.* Checksums"),
    ("vlan", r"wildcards\.html#.* VLAN tags"),
    ("SetVlan", r"class.*Wildcards\.html#.* SetVlanParams"),
    ("subnet", r"addresses\.html#.* .*subnets"),
    ("counter", r"wildcards\.html#.* Decimal counters", r"wildcards\.html#.* Hex counters"),
    ("marker", r"diagnostics\.html#.* .*markers"),
    ("length", r"wildcards\.html#.* Length fields"),
    ("length field", r"wildcards\.html#.* Length fields"),
    ("hex count", r"wildcards\.html#.* Hex counters"),
    ("RenderFrames", r"class.*CompiledTemplate\.html#.* RenderFrames"),
    ("renderfr", r"class.*CompiledTemplate\.html#.* RenderFrames"),
    ("CIpAddress", r"class.*CIpAddress\.html CIpAddress"),
    ("IMIX", r"cookbook\.html#.* .*IMIX"),
    ("dask", r"python\.html#"),
)

DESKTOP = (1280, 900)
PHONE = (390, 844)
NARROW = (799, 844) # just below the width at which the tree comes beside the text


def missing(judge):
    print(f"{judge} is not installed")
    sys.exit(0)


def sections(directory):
    text = (directory / "search-data.js").read_text(encoding="utf-8")
    return json.loads(text.removeprefix("const searchSections = ").removesuffix(";\n"))


def check_links(directory):
    """As root, LinkChecker becomes a user who may not be able to read the pages, so it gets a copy that all can read."""
    if not shutil.which("linkchecker"):
        missing("linkchecker")
    os.umask(0o022)
    with tempfile.TemporaryDirectory() as scratch:
        copy = shutil.copytree(directory, pathlib.Path(scratch, "html"), copy_function=shutil.copyfile)
        for path in (scratch, copy):
            os.chmod(path, 0o755)
        settings = pathlib.Path(scratch, "linkcheckerrc")
        settings.write_text("[AnchorCheck]\n", encoding="utf-8")
        addresses = ["index.html", *(section[0] for section in sections(directory))]
        result = subprocess.run(["linkchecker", f"--config={settings}", "--no-status", "--threads=0", "--stdin"],
                                input="".join(f"{copy.as_uri()}/{address}\n" for address in addresses),
                                text=True, capture_output=True, check=False)
    print(result.stdout[-4000:] if result.returncode else result.stdout.strip().splitlines()[-2])
    return result.returncode


def browser():
    try:
        from selenium import webdriver
    except ImportError:
        missing("python3-selenium")
    chromium, driver = shutil.which("chromium"), shutil.which("chromedriver")
    if not (chromium and driver):
        missing("chromium")
    options = webdriver.ChromeOptions()
    options.binary_location = chromium
    for option in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--hide-scrollbars"):
        options.add_argument(option)
    return webdriver.Chrome(service=webdriver.chrome.service.Service(driver), options=options)


def resize(view, size):
    width, height = size
    view.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                         {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 800})


def show(view, size, address, colours="light"):
    resize(view, size)
    view.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": colours}]})
    view.get(address)


def check_widths(directory):
    """No page is wider than the screen, at which its text begins and which the tree leaves to it."""
    faults = 0
    with browser() as view:
        pages = sorted(directory.glob("*.html"))
        for page in pages:
            show(view, PHONE, page.as_uri())
            for size in (PHONE, NARROW):
                resize(view, size)
                wide, text, top, tree = view.execute_script("""
                    const content = document.getElementById("doc-content");
                    const title = document.querySelector("div.headertitle").getBoundingClientRect();
                    return [Math.max(document.documentElement.scrollWidth - innerWidth,
                                     content.scrollWidth - content.clientWidth),
                            content.clientWidth, title.top, document.getElementById("side-nav").offsetWidth]""")
                if wide > 0 or text < size[0] or top > size[1] / 5 or tree > 0:
                    print(f"{page.name}, {size[0]} pixels: {wide} too wide, text of {text} from {top:.0f}, "
                          f"tree of {tree}")
                    faults += 1
        print(f"{len(pages)} pages, {faults} faults")
    return faults


def wait(view, script):
    from selenium.webdriver.support.ui import WebDriverWait
    return WebDriverWait(view, 10).until(lambda _: view.execute_script(script))


def found(view, query):
    """What the search shows for a query: address and title of each result."""
    box = view.find_element("id", "MSearchField")
    box.clear()
    box.send_keys(query)
    return wait(view, """
        const list = document.getElementById("search-results");
        return list.hidden ? null : {results: [...list.querySelectorAll("a")].map(
            (result) => result.getAttribute("href") + " " + result.querySelector("strong").textContent)}
        """)["results"]


def check_search(directory):
    faults = 0
    with browser() as view:
        for size in (DESKTOP, PHONE):
            show(view, size, (directory / "guides.html").as_uri())
            for query, *expected in SEARCHES:
                results = found(view, query)
                for pattern in expected:
                    if not any(re.match(pattern, result) for result in results[:5]):
                        print(f"{query}: {pattern} is not among {results}")
                        faults += 1
        # The key that leads to the box, and the one that leads to the first result: a section, which is then in sight.
        show(view, DESKTOP, (directory / "classzor_1_1common_1_1Wildcards.html").as_uri())
        view.find_element("tag name", "body").send_keys("/")
        if not view.execute_script("return document.activeElement.id === 'MSearchField'"):
            print("the key / does not lead to the search")
            faults += 1
        found(view, "length fields")
        view.switch_to.active_element.send_keys("\ue007") # Enter
        wait(view, "return location.hash && document.readyState === 'complete'")
        try:
            wait(view, """
                const heading = document.querySelector(location.hash).parentElement;
                const {top, bottom} = heading.getBoundingClientRect();
                return heading.textContent.trim() === "Length fields" && top >= 0 && bottom <= innerHeight""")
        except Exception as fault: # pylint: disable=broad-except
            print(f"the first result leads to {view.current_url}: {fault!r}")
            faults += 1
        # What is typed is text and not a pattern or a tag, and a word of no page is not found.
        show(view, PHONE, (directory / "index.html").as_uri())
        for query in ("<b>(*", "@$(thread", "__proto__ constructor", "xyzzyq"):
            results = found(view, query)
        faults += results != []
        for entry in view.get_log("browser"):
            print(entry["message"])
            faults += 1
    print(f"{len(SEARCHES)} searches at two widths, {faults} faults")
    return faults


def check_reader(directory):
    """The list of guides, copies of all their code, the spans of code in their text, colours, and the order on the page
    of a class."""
    faults = []
    with browser() as view:
        show(view, DESKTOP, (directory / "guides.html").as_uri())
        listed, tree = view.execute_script("""
            return [".textblock", "#nav-tree"].map((part) => [...document.querySelectorAll(part + " a[href]")].map(
                (link) => link.getAttribute("href").replace(/#.*/, "")))""")
        blocks = spans = 0
        for guide in sorted((pathlib.Path(__file__).parents[2] / "docs").glob("[a-z]*.md")):
            if f"{guide.stem}.html" not in listed or f"{guide.stem}.html" not in tree:
                faults.append(f"{guide.name} is missing in the list of guides or in the tree")
            show(view, DESKTOP, (directory / f"{guide.stem}.html").as_uri())
            copied = view.execute_script("""
                const copied = [];
                navigator.clipboard.writeText = (text) => copied.push(text);
                document.querySelectorAll("doxygen-awesome-fragment-copy-button").forEach((button) => button.click());
                return copied""")
            text = guide.read_text(encoding="utf-8")
            code = re.findall(r"^```\S*\n(.*?)\n```$", text, re.MULTILINE | re.DOTALL)
            blocks += len(code)
            # Doxygen takes away what all lines are indented by.
            faults += [f"{guide.name}: copied is {one!r}, written {other!r}"
                       for one, other in itertools.zip_longest(copied, map(textwrap.dedent, code)) if one != other]
            shown = view.execute_script("""
                return [...document.querySelectorAll(".contents code")].map((code) => code.textContent)""")
            text = re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)
            code = re.findall(r"`([^`]+)`", text.replace("\\|", "|"))
            spans += len(code)
            faults += [f"{guide.name}: shown is {one!r}, written {other!r}"
                       for one, other in itertools.zip_longest(shown, code, fillvalue="") if one.split() != other.split()]
        if blocks < 100 or spans < 1000:
            faults.append(f"there are only {blocks} blocks of code and {spans} spans in the text")

        for colours, dark in (("light", False), ("dark", True)):
            for size in (DESKTOP, PHONE):
                show(view, size, (directory / "index.html").as_uri(), colours)
                backgrounds = []
                for _ in range(2):
                    backgrounds.append(view.execute_script(
                        "return getComputedStyle(document.body).backgroundColor.match(/\\d+/g).map(Number)"))
                    view.find_element("css selector", "doxygen-awesome-dark-mode-toggle").click()
                if [max(colour) < 100 for colour in backgrounds] != [dark, not dark]:
                    faults.append(f"{colours}, {size[0]} pixels: backgrounds {backgrounds}")

        for name, example, member in (("CIpAddress", "CopyFromString", "CIpAddress ()"),
                                      ("CompiledTemplate", "packets.Render", "CompiledTemplate (const std::string"),
                                      ("Hexfield", "Hexfield", "Hexfield ("),
                                      ("Wildcards", "hosts.GetValue", "Wildcards (")):
            show(view, DESKTOP, (directory / f"classzor_1_1common_1_1{name}.html").as_uri())
            text = view.find_element("id", "doc-content").text
            places = [text.find(what) for what in (example, member, "Details\n", "Member Function Documentation")]
            if -1 in places or places != sorted(places):
                faults.append(f"{name}: example, members, details and their documentation stand at {places}")
    print("\n".join(faults) or "as it should be")
    return len(faults)


if __name__ == "__main__":
    CHECKS = {"links": check_links, "widths": check_widths, "search": check_search, "reader": check_reader}
    sys.exit(min(CHECKS[sys.argv[1]](pathlib.Path(sys.argv[2]).resolve()), 1))
