"""Which tests, and which fuzz targets with their kept inputs, answer for a file of common/."""

import re
from typing import NamedTuple

# A file has the test <File>Test and the fuzz targets whose names start with it. A file without a test of its own has
# the tests of those that include it. Here is what else answers for a file; a name that does not exist is an error.
ADDITIONAL = {
    "AddressForms": ["AddressTextTest", "AddressShapeTest", "AllocationTest", "IpAddressTest", "Ipv6AddressTest",
                     "MacAddressTest", "WildcardsTest", "AddressTextFuzz", "IpAddressFuzz", "Ipv6AddressFuzz",
                     "MacAddressFuzz"],
    "AddressLiterals": ["AddressTextTest"],
    "AddressScan": ["AddressShapeTest", "AllocationTest", "IpAddressFuzz", "Ipv6AddressFuzz", "MacAddressFuzz"],
    "AddressPrefix": ["AddressTextTest", "AddressRangeTest"],
    "BigEndian": ["AddressShapeTest"],
    "ByteSpan": ["CompiledTemplateTest"],
    "Characters": ["AddressTextTest", "MacroExpanderTest", "WildcardsTest", "AddressTextFuzz", "MacroFuzz"],
    "ChecksumField": ["AdjustChecksumFuzz", "FindChecksumsFuzz"],
    "CompiledTemplate": ["AllocationTest", "FramesFuzz"],
    "CounterFacts": ["TemplateCheckTest", "CounterFactsFuzz"],
    "Decimal": ["WildcardsFuzz"],
    "DiUnsigned": ["Ipv6AddressTest"],
    "FieldExtractor": ["AllocationTest"],
    "FrameAssembly": ["FrameBuilderTest", "AllocationTest", "FrameBuilderFuzz"],
    "FrameBuilder": ["AllocationTest"],
    "FrameCompiler": ["FrameBuilderTest", "AllocationTest", "FrameBuilderFuzz"],
    "FrameFields": ["FrameBuilderTest", "AllocationTest", "FrameBuilderFuzz"],
    "FrameFlows": ["FrameBuilderTest", "FrameBuilderFuzz"],
    "FrameLayers": ["FrameBuilderTest", "AllocationTest", "FrameBuilderFuzz"],
    "FrameOptions": ["FrameBuilderTest"],
    "FrameParser": ["FrameBuilderTest", "AllocationTest"],
    "FrameTunnels": ["FrameBuilderTest", "FrameBuilderFuzz"],
    "FrameValues": ["FrameBuilderTest", "FrameBuilderFuzz"],
    "GenericFieldModifierImpl": ["FieldTypeHelperTest"],
    "GoogleProtoBuf": ["AllocationTest", "EncoderFuzz"],
    "GoogleProtoBufFieldInfo": ["GoogleProtoBufTest", "AllocationTest", "SchemaStepsFuzz"],
    "GoogleProtoBufMessageInfo": ["GoogleProtoBufTest", "AllocationTest", "SchemaStepsFuzz"],
    "GoogleProtoBufParser": ["AllocationTest", "SchemaFileFuzz", "SchemaStepsFuzz"],
    "Hexfield": ["AllocationTest"],
    "IndexBatch": ["CompiledTemplateTest", "FramesFuzz"],
    "IndexChecksum": ["ChecksumFieldTest", "CompiledTemplateTest", "FramesFuzz"],
    "IndexCompiler": ["CompiledTemplateTest", "AllocationTest", "CompiledTemplateFuzz"],
    "IndexCounter": ["CompiledTemplateTest", "CompiledTemplateFuzz", "FramesFuzz"],
    "FrameMatcher": ["FindIndexTest", "SequenceAuditTest", "FindIndexFuzz", "SequenceAuditFuzz"],
    "IndexInverse": ["FindIndexTest", "SequenceAuditTest", "FindIndexFuzz", "SequenceAuditFuzz"],
    "IndexLanes": ["CompiledTemplateTest", "FramesFuzz"],
    "IndexOrder": ["IndexTest"],
    "AuditReader": ["SequenceAuditTest", "TrafficTest", "SequenceAuditFuzz", "TrafficFuzz"],
    "IndexPath": ["TrafficTest", "TrafficFuzz"],
    "ReadableProgram": ["FindIndexTest", "TrafficTest", "FindIndexFuzz"],
    "Traffic": ["TrafficTest"],
    "TrafficBatch": ["TrafficTest", "TrafficFuzz"],
    "TrafficPlan": ["TrafficTest", "AllocationTest", "TrafficFuzz"],
    "IndexProgram": ["CompiledTemplateTest", "AllocationTest", "CompiledTemplateFuzz", "FramesFuzz"],
    "IndexRange": ["IndexTest"],
    "IndexRender": ["CompiledTemplateTest", "CompiledTemplateFuzz", "FramesFuzz"],
    "IndexSolver": ["FindIndexTest", "SequenceAuditTest", "FindIndexFuzz", "SequenceAuditFuzz"],
    "IndexSequence": ["CompiledTemplateTest", "CompiledTemplateFuzz", "FramesFuzz"],
    "IndexTables": ["FrameBuilderTest", "FrameBuilderFuzz"],
    "Integer": ["NumericTest"],
    "InternetSum": ["ChecksumFieldTest", "AdjustChecksumFuzz"],
    "IpAddress": ["AddressShapeTest"],
    "Ipv6Address": ["AddressShapeTest", "MacAddressTest", "DiUnsignedTest", "AllocationTest"],
    "Lcm": ["NumericTest"],
    "MacAddress": ["AddressShapeTest"],
    "MacroExpander": ["AllocationTest", "MacroFuzz"],
    "ListReader": ["FindIndexTest", "FrameBuilderTest", "FrameBuilderFuzz"],
    "PagedBits": ["SequenceAuditTest", "AllocationTest", "SequenceAuditFuzz"],
    "SequenceAudit": ["AllocationTest", "SequenceAuditFuzz"],
    "Sequence": ["WildcardsTest", "AllocationTest", "WildcardsFuzz"],
    "SequenceCheck": ["TemplateCheckTest"],
    "TemplateAdvice": ["TemplateCheckTest", "TemplateCheckFuzz"],
    "TemplateCheck": ["AllocationTest"],
    "TemplateCompiler": ["TemplateProgramTest", "AllocationTest", "WildcardsFuzz"],
    "TemplateDiagram": ["TemplateCheckTest", "TemplateFieldsFuzz"],
    "TemplateDump": ["TemplateProgramTest"],
    "TemplateFields": ["TemplateCheckTest"],
    "TemplateHexCheck": ["TemplateCheckTest", "CounterFactsFuzz"],
    "TemplateKindCheck": ["TemplateCheckTest", "CounterFactsFuzz"],
    "TemplateListCheck": ["TemplateCheckTest", "TemplateCheckFuzz"],
    "TemplateOverlay": ["AllocationTest", "WildcardsFuzz"],
    "TemplateProgram": ["WildcardsTest", "AllocationTest", "WildcardsFuzz"],
    "TemplateRender": ["AllocationTest", "WildcardsFuzz"],
    "TemplateReport": ["TemplateCheckTest", "TemplateCheckFuzz"],
    "TemplateState": ["AllocationTest", "WildcardsFuzz"],
    "TemplateSyntax": ["TemplateProgramTest", "AllocationTest", "WildcardsFuzz"],
    "TurnReader": ["FindIndexTest", "SequenceAuditTest", "FindIndexFuzz", "SequenceAuditFuzz"],
    "WordPair": ["FieldExtractorTest", "HexfieldTest", "FindIndexTest"],
    "WildcardsImpl": ["AllocationTest", "WildcardsFuzz"],
    "WideSteps": ["HexfieldFuzz", "HexfieldTextFuzz", "Ipv6AddressFuzz"],
    "Wildcards": ["AllocationTest"],
    "WorldWideName": ["MacAddressTest", "AddressShapeTest", "AllocationTest"],
}


class Program(NamedTuple):
    name: str
    main: str  # the source that sees the headers of the library
    extra: tuple
    arguments: tuple


class Programs:
    def __init__(self, root):
        lists = (root / "tests" / "CMakeLists.txt").read_text()
        self.includes = {p.name: re.findall(r'#include ["<](?:[\w.]+/)*(\w+\.h)[">]', p.read_text())
                         for part in ("common", "tests", "tests/support", "fuzz") for p in (root / part).iterdir()
                         if p.suffix in (".h", ".cpp")}
        self.all = {}
        for name, sources in re.findall(r"^zor_common_test\((\w+)([^)]*)\)", lists, re.MULTILINE):
            # Every program has all of common/ in it, so what a test lists of that is there already.
            extra = tuple(f"tests/{s}" for s in re.sub("#.*", "", sources).split() if not s.startswith("../common/"))
            self.all[name] = Program(name, f"tests/{name}.cpp", extra, ("--gtest_fail_fast", "--gtest_brief=1"))
        for target in sorted(p.stem for p in (root / "fuzz").glob("*Fuzz.cpp")):
            corpus = f"fuzz/corpus/{target.removesuffix('Fuzz')}"
            self.all[target] = Program(target, f"fuzz/{target}.cpp", ("fuzz/StandaloneMain.cpp",), (corpus,))
        self.files = {p.stem for p in (root / "common").iterdir()}
        self._check_table()

    def _check_table(self):
        unknown = sorted(set(ADDITIONAL) - self.files) + sorted(
            {name for names in ADDITIONAL.values() for name in names} - set(self.all))
        if unknown:
            raise SystemExit(f"scripts/mutation/programs.py names what does not exist: {', '.join(unknown)}")

    def of(self, stem):
        """The programs for a file of that name. The sooner a fault is noticed the better, so its own test comes first,
        then those of other files, what tests several at once, and the fuzz targets."""
        names = self._tests_of(stem, {stem}) | set(ADDITIONAL.get(stem, []))
        names |= {n for n in self.all if n.endswith("Fuzz") and self._family_of(n) == stem}

        def rank(name):
            of_a_file = name.removesuffix("Test") in self.files
            return name != f"{stem}Test", name.endswith("Fuzz"), not of_a_file, name

        return [self.all[n] for n in sorted(names, key=rank)]

    def _tests_of(self, stem, done):
        if f"{stem}Test" in self.all:
            return {f"{stem}Test"}
        others = {f for f in self.files - done
                  if any(f"{stem}.h" in self.includes.get(f + suffix, []) for suffix in (".h", ".cpp"))}
        return {name for other in others for name in self._tests_of(other, done | {other})}

    def _family_of(self, target):
        return max((f for f in self.files if target.startswith(f)), key=len, default="")

    def seen_by(self, name):
        """All headers that a source or header includes, those that they include too."""
        seen, left = set(), list(self.includes.get(name, []))
        while left:
            header = left.pop()
            if header not in seen:
                seen.add(header)
                left += self.includes.get(header, [])
        return seen
