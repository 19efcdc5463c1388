"""The list of equivalents and the results of a run: what is kept, what is printed, what makes a run fail."""

import re

from .faults import NEW_CLASSES, OLD_CLASSES

OLD_THRESHOLD, NEW_THRESHOLD = 0.95, 0.90


class Equivalents:
    """The faults of which the list says that nothing can notice them: a number, the file, the reason."""

    def __init__(self, path, only):
        self.reasons, self.files = {}, {}
        for row in path.read_text().splitlines() if path.exists() else []:
            if not row or row.startswith("#"):
                continue
            ident, file, reason = re.fullmatch(r"(\w+) ([\w.]+): (.*)", row).groups()
            if not only or file.split(".")[0] in only:
                self.reasons[ident], self.files[ident] = reason, file

    def stale(self, faults):
        """The rows that are of no fault of the present sources."""
        present = {f.id: f.path.name for f in faults}
        return [i for i in self.reasons if present.get(i) != self.files[i]]


class Results:
    """What became of each fault in each mode. Faults that were noticed stay so; others count for one state of the tree
    alone. The file is written as a run goes on, so that it can be stopped at any time."""

    def __init__(self, path, state):
        self.state, self.verdicts = state, {}
        for row in path.read_text().splitlines() if path.exists() else []:
            fields = row.split("\t")
            if len(fields) == 7 and (fields[2] != "survived" or fields[3] == state):  # the last may be cut off
                self.verdicts[fields[0], fields[1]] = fields[2]
        self.log = path.open("a", buffering=1)

    def of(self, fault, mode):
        return self.verdicts.get((fault.id, mode))

    def add(self, fault, mode, verdict, why):
        self.verdicts[fault.id, mode] = verdict
        place = f"{fault.path.name}:{fault.line}"
        self.log.write(f"{fault.id}\t{mode}\t{verdict}\t{self.state}\t{place}\t{fault.change}\t{why}\n")

    def noticed(self, fault):
        return "killed" in (self.of(fault, "plain"), self.of(fault, "sanitized"))


def share(faults, results, equivalents):
    """How many of the faults were noticed: the share of all, that of those not listed as equivalent, and a text."""
    noticed = sum(results.noticed(f) for f in faults)
    listed = sum(f.id in equivalents.reasons and not results.noticed(f) for f in faults)
    of_all, of_real = noticed / max(1, len(faults)), noticed / max(1, len(faults) - listed)
    return of_all, of_real, (f"{noticed:6,} of {len(faults):6,} noticed, {100 * of_all:5.1f} %; without {listed} that "
                             f"change nothing {100 * of_real:5.1f} %")


def print_report(planted, results, equivalents, listed):
    """Prints what was not noticed and the figures by class. Returns what is wrong, as texts."""
    wrong = []
    print()
    survived = [f for f in planted if not results.noticed(f)]
    for f in survived:
        print(f"{f.id} {f.path.name}:{f.line} {f.change}  {equivalents.reasons.get(f.id, 'NOT LISTED')}")
    print()
    for kind in OLD_CLASSES + NEW_CLASSES:
        of_kind = [f for f in planted if f.kind == kind]
        _, reached, text = share(of_kind, results, equivalents)
        if of_kind:
            print(f"{kind:10} {text}")
        if kind in NEW_CLASSES and of_kind and reached < NEW_THRESHOLD:
            wrong.append(f"fewer than {100 * NEW_THRESHOLD:.0f} % of the class {kind} were noticed")
    for name, kinds, threshold in (("first five", OLD_CLASSES, OLD_THRESHOLD), ("all", OLD_CLASSES + NEW_CLASSES, 0)):
        reached, _, text = share([f for f in planted if f.kind in kinds], results, equivalents)
        print(f"{name:10} {text}")
        if reached < threshold:
            wrong.append(f"fewer than {100 * threshold:.0f} % of the {name} classes were noticed")
    unlisted = [f for f in survived if f.id not in equivalents.reasons]
    if unlisted:
        wrong.append(f"{len(unlisted)} faults were not noticed and are not listed as equivalent")
    for f in listed:
        if results.noticed(f):
            wrong.append(f"{f.id} {f.path.name}:{f.line} {f.change}: no longer equivalent: take it off the list")
        elif results.of(f, "plain") == "stillborn":
            wrong.append(f"{f.id} {f.path.name}:{f.line} {f.change}: stale: it does not compile")
    return wrong
