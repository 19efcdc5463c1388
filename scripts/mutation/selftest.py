"""What each operator plants in a few lines of C++, compared with what it should."""

import pathlib

from .faults import faults_of, read_library
from .programs import Programs
from .report import Equivalents
from .source import Source

# What stands around the statements of a case.
FRAME = """
class Counter {
public:
    void Step(int low, int top) { %s }
private:
    int mFirst = 0;
    int mLast = 0;
    bool mKnown = false;
    std::string mText;
    Part mPart;
};
"""

# The class of faults, the statements, and what they may become.
CASES = [
    ("operator", "if (low < top) ++low;",
     ["if (low <= top) ++low;", "if (low >= top) ++low;", "if (low < top) --low;"]),
    ("constant", "return 0x10u;", ["return 17u;", "return 15u;"]),
    ("negation", "while (low < 3) low *= 2;", ["while (!(low < 3)) low *= 2;"]),
    ("swap", "Use(low, top);", ["Use(top, low);"]),
    ("deletion", "mLast = top; const int n = 1; Use(n);",
     ["; const int n = 1; Use(n);", "mLast = top; const int n = 1; ;"]),
    ("state", "mLast = top; low = top;", ["; low = top;"]),
    ("state", "mFirst = mLast = 0;", [";", "mFirst = 0;", "mLast = 0;"]),
    ("state", "mText.clear(); Use(mText);", ["; Use(mText);"]),
    ("state", "mKnown = true;", [";", "mKnown = false;"]),
    ("state", "if (--mLast == 0) Use(std::exchange(mFirst, 1));",
     ["if (mLast == 0) Use(std::exchange(mFirst, 1));", "if (--mLast == 0) Use(mFirst);"]),
    ("state", "const int mLast = 1; Use(mLast);", []),
    ("order", "mFirst = low; mLast = top;", []),
    ("order", "mFirst = low; mLast = mFirst;", ["mLast = mFirst; mFirst = low;"]),
    ("order", "mLast = low; Step(top, 1);", ["Step(top, 1); mLast = low;"]),
    ("order", "mText = text; Use(top);", []),
    ("order", "const int n = low; Use(n);", []),
    ("order", "const int n = mText.size(); mText.clear();", ["mText.clear(); const int n = mText.size();"]),
    ("order", "if (low == top) return; mLast = top;", ["mLast = top; if (low == top) return;"]),
    ("order", "if (low == 1) return; if (top == 1) return;", []),
    ("order", "if (low == 1) return; if (low == 2) ++mLast;", []),
    ("order", "low |= top; low |= 4; return;", []),
    ("width", "Use(static_cast<std::uint32_t>(low));", ["Use(static_cast<std::uint16_t>(low));"]),
    ("width", "Use(std::uint32_t{low} << 8);",
     ["Use(std::uint16_t{low} << 8);", "Use(std::uint64_t{low} << 8);", "Use(std::uint32_t{low} << 16);"]),
    ("width", "Use(LoadBig16(mText), LoadBig64(mText));",
     ["Use(LoadBig64(mText), LoadBig64(mText));", "Use(LoadBig16(mText), LoadBig16(mText));"]),
    ("width", "Use(sizeof low, mText.size());",
     ["Use((sizeof low / 2), mText.size());", "Use(sizeof low, (mText.size() - 1));"]),
    ("width", "return mText.size() - 1;", ["return mText.size();"]),
    ("update", "low |= top; mLast = low; mKnown = true; mText = text;",
     ["low = top; mLast = low; mKnown = true; mText = text;", "low |= top; mLast |= low; mKnown = true; mText = text;",
      "low |= top; mLast = low; mKnown = true; mText += text;"]),
    ("update", "Part part{}; part.size = low; mPart.a = mPart.b = mPart.c = mPart.d = low; mLast = 0;", []),
    ("neighbour", "Use(sizeof mLast);", []),
    ("neighbour", "mLast = low; mKnown = pair.first;",
     ["mFirst = low; mKnown = pair.first;", "mLast = top; mKnown = pair.first;", "mLast = low; mKnown = pair.second;"]),
]

# The numbers of faults are what the list of equivalents goes by, so they stay for the same text.
NUMBERS = {"while (!(low < 3)) low *= 2;": "384981547ec6"}


def planted(kind, statements):
    """The faults of one class in the statements: what those become, and the number."""
    text = FRAME % statements
    begin = text.index(statements)
    faults = [f for f in faults_of(Source(pathlib.Path("Counter.h"), text)) if f.kind == kind]
    inside = [f for f in faults if begin <= f.begin and f.end <= begin + len(statements)]
    return {(text[:f.begin] + f.replacement + text[f.end:])[begin:].split(" }\nprivate")[0]: f.id for f in inside}


# The lines that some programs run, a fault's file and lines, and the programs that answer for it, in their order.
REACHED = {"AllocationTest": {"common/Hexfield.cpp": [5]}, "HexfieldTest": {"common/Hexfield.cpp": [7]},
           "HexfieldFuzz": {"common/Hexfield.cpp": [5, 6, 7, 8]}, "WildcardsTest": {"common/Hexfield.cpp": [5, 6]}}
ANSWERING = [
    ("common/Hexfield.cpp", [7], "HexfieldTest HexfieldFuzz"),
    ("common/Hexfield.cpp", [4, 5], "WildcardsTest AllocationTest HexfieldFuzz"),
    ("common/Hexfield.cpp", [9], "HexfieldTest WildcardsTest AllocationTest HexfieldFuzz"),
    ("common/GenericFieldModifierImpl.h", [5], "FieldTypeHelperTest"),
    ("tools/Quantities.cpp", [5], "ToolTest LayersFuzz RecipeFuzz"),
]


def wrong_programs(programs, root):
    """What is wrong with the programs that are found and those that are chosen, as texts."""
    expected = {p.stem for pattern in ("tests/*Test.cpp", "fuzz/*Fuzz.cpp") for p in root.glob(pattern)}
    for name in sorted(expected ^ set(programs.all)):
        yield f"{name}: has a source or is built, but not both"
    for path, lines, names in ANSWERING:
        found = " ".join(p.name for p in programs.answering(REACHED, path, lines))
        if found != names:
            yield f"{path} {lines}: expected {names}, found {found}"


def stale_rows(root):
    """The rows of the list of equivalents that are of no fault of the present sources, as texts."""
    equivalents = Equivalents(root / "tests" / "data" / "mutants-equivalent.txt", set())
    listed = set(equivalents.files.values())
    present = [f for s in read_library(root / "common") if s.path.name in listed for f in faults_of(s)]
    return [f"{i} {equivalents.files[i]}: stale: take it off the list" for i in equivalents.stale(present)]


def run(root):
    """Prints what differs and returns the status to exit with."""
    wrong = []
    for kind, statements, expected in CASES:
        found = planted(kind, statements)
        if sorted(found) != sorted(expected):
            wrong.append(f"{kind}: {statements}\n  expected {sorted(expected)}\n  planted  {sorted(found)}")
        for change, number in NUMBERS.items():
            if found.get(change, number) != number:
                wrong.append(f"{kind}: {change}\n  has the number {found[change]} and not {number}")
    wrong += [*wrong_programs(Programs(root), root), *stale_rows(root)]
    print(*wrong, f"mutate: {len(CASES) + len(ANSWERING)} cases, {len(wrong)} wrong", sep="\n")
    return 1 if wrong else 0
