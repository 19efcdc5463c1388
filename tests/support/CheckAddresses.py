"""Compares the strict readers, the printer, ranges and summaries with Python's ipaddress.

    CheckAddresses.py <AddressProgram> [texts of each type]

The texts are drawn and mutated, and all those of ipaddress's own tests where these are installed. Deliberate
differences: a zone is refused, and a prefix needs "/" and a length in plain decimal without leading zeros.
"""

import ast
import importlib.util
import ipaddress
import random
import re
import subprocess
import sys

RANDOM = random.Random(18)
TYPES = {"4": (ipaddress.IPv4Address, ipaddress.IPv4Interface, 32), "6": (ipaddress.IPv6Address, ipaddress.IPv6Interface, 128)}


def drawn_number(bits):
    """Often with runs of zeros and ones, so that there are zero groups and carries."""
    number = RANDOM.getrandbits(bits)
    for _ in range(RANDOM.randrange(4)):
        at, size = RANDOM.randrange(bits), RANDOM.randrange(bits)
        mask = ((1 << size) - 1) << at
        number = number & ~mask if RANDOM.random() < 0.7 else number | mask
    return number & ((1 << bits) - 1)


def drawn_text(kind):
    address_type, _, bits = TYPES[kind]
    address = address_type(drawn_number(bits))
    text = str(address)
    if kind == "6" and RANDOM.random() < 0.3:
        text = RANDOM.choice([address.exploded, text.upper(),
                              ":".join(address.exploded.split(":")[:6]) + ":" + str(ipaddress.IPv4Address(int(address) & 0xffffffff)),
                              "::ffff:" + str(ipaddress.IPv4Address(int(address) & 0xffffffff))])
    if RANDOM.random() < 0.2:
        text += "/" + str(RANDOM.randrange(bits + 3))
    for _ in range(RANDOM.randrange(4)):
        at = RANDOM.randrange(len(text) + 1)
        edit = RANDOM.randrange(3)
        new = RANDOM.choice("0123456789abcdefABCDEF::::....%/ -+gx\0\xb2\u0663")
        text = text[:at] + (new if edit != 1 else "") + text[at + (edit != 0):]
    return text


def own_test_data():
    """Every string of ipaddress's own tests."""
    try:
        found = importlib.util.find_spec("test.test_ipaddress")
    except ModuleNotFoundError:
        found = None
    if found is None:
        print("the tests of ipaddress are not installed: their data is left out")
        return []
    with open(found.origin, encoding="utf-8") as source:
        strings = {node.value for node in ast.walk(ast.parse(source.read()))
                   if isinstance(node, ast.Constant) and isinstance(node.value, str)}
    texts = {part for text in strings for part in [text, *text.split("/"), *text.split()] if "\n" not in part}
    print(f"ipaddress's own tests: {len(texts)} texts")
    return sorted(texts)


def expected(kind, text):
    """What it prints as, or None."""
    address_type, interface_type, bits = TYPES[kind]
    if "%" in text:
        return None
    try:
        if "/" not in text:
            address = address_type(text)
            return printed(address, text)
        if not re.fullmatch(r"[^/]*/(0|[1-9][0-9]*)", text, re.ASCII):
            return None
        interface = interface_type(text)
        return f"{printed(interface.ip, text)}/{interface.network.prefixlen}"
    except ValueError:
        return None


def printed(address, text):
    """A dotted tail comes back dotted: Python prints none, so its last two groups are compared with zeros in place."""
    if address.version == 4 or "." not in text:
        return address.compressed
    tail = ipaddress.IPv4Address(int(address) & 0xffffffff)
    head = ipaddress.IPv6Address(int(address) >> 32 << 32 | 0x00010001).compressed
    # Two groups that are not zero stand where the tail does.
    return head.removesuffix("1:1") + str(tail)


def ask(program, questions):
    run = subprocess.run([program], input="".join(q + "\n" for q in questions), capture_output=True, text=True, check=True)
    answers = run.stdout.split("\n")[:-1]
    if len(answers) != len(questions):
        sys.exit(f"{len(questions)} questions have {len(answers)} answers")
    return answers


class Comparison:
    def __init__(self):
        self.faults = 0

    def same(self, what, ours, theirs):
        if ours != theirs:
            self.faults += 1
            if self.faults <= 10:
                print(f"{what}: {ours!r}, and ipaddress says {theirs!r}")


def check_texts(program, comparison, count):
    own = own_test_data()
    for kind in TYPES:
        texts = [drawn_text(kind) for _ in range(count)] + own
        answers = ask(program, [f"{kind} text {text.encode('utf-8', 'surrogatepass').hex()}" for text in texts])
        accepted = 0
        for text, answer in zip(texts, answers):
            fault, _, shown = answer.split("|")
            theirs = expected(kind, text)
            comparison.same(f"IPv{kind} {text!r} ({fault})", shown or None, theirs)
            accepted += theirs is not None
        print(f"IPv{kind}: {len(texts)} texts, {accepted} of them accepted")
        if not len(texts) / 5 < accepted < len(texts) / 5 * 4:
            sys.exit("the texts see one side only")


def check_networks(program, comparison):
    questions, answers = [], []
    for kind, (address_type, _, bits) in TYPES.items():
        network_type = ipaddress.IPv4Network if kind == "4" else ipaddress.IPv6Network
        highest = (1 << bits) - 1
        for case in range(3000):
            first = drawn_number(bits)
            last = min(highest, first + RANDOM.getrandbits(RANDOM.randrange(1, bits + 1)))
            if case < 4:
                first, last = [(0, highest), (1, highest), (0, highest - 1), (highest, highest)][case]
            questions.append(f"{kind} range {address_type(first)}-{address_type(last)}")
            answers.append("".join(f"{n} " for n in ipaddress.summarize_address_range(address_type(first), address_type(last))))

            base = drawn_number(bits)
            networks = [network_type((base ^ RANDOM.getrandbits(RANDOM.randrange(1, 12)) << RANDOM.randrange(bits - 10),
                                      RANDOM.randrange(bits - 12, bits + 1)), strict=False) for _ in range(RANDOM.randrange(1, 12))]
            questions.append(f"{kind} summary " + " ".join(f"{n[0]}-{n[-1]}" for n in networks))
            answers.append("".join(f"{n} " for n in ipaddress.collapse_addresses(networks)))

            length = RANDOM.randrange(bits + 1) if case > 2 else case * bits // 2
            deeper = min(bits, length + RANDOM.randrange(14))
            network = network_type((drawn_number(bits), length), strict=False)
            subnets = 1 << (deeper - length)
            n = RANDOM.randrange(subnets + 1)
            start = int(network.network_address) + (n << (bits - deeper))
            questions.append(f"{kind} subnet {network} {deeper} {n}")
            subnet = None if n == subnets else network_type((start, deeper))
            if subnet is not None and not subnet.subnet_of(network):
                sys.exit("the question is wrong")
            answers.append("empty" if subnet is None else f"{subnet[0]} {subnet[-1]}")
    for question, ours, theirs in zip(questions, ask(program, questions), answers):
        comparison.same(question, ours, theirs)
    print(f"networks: {len(questions)} ranges, summaries and subnets")


def main():
    comparison = Comparison()
    check_texts(sys.argv[1], comparison, int(sys.argv[2]) if len(sys.argv) > 2 else 100000)
    check_networks(sys.argv[1], comparison)
    if comparison.faults:
        sys.exit(f"{comparison.faults} differences")


if __name__ == "__main__":
    main()
