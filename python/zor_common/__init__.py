"""Network packets by number, for traffic generators and test tools.

A packet is a function of its index: a Template renders the bytes of an index, and finds the index of the bytes.

>>> import zor_common
>>> packets = zor_common.Template("packet @x(1,0,1,3)")
>>> packets[41]
b'packet 042'
>>> packets.index(b'packet 042')
41
"""

from ._native import (
    Audit,
    Counts,
    Diagnostic,
    Field,
    Frames,
    Hexfield,
    IPv4Address,
    IPv6Address,
    MacAddress,
    Order,
    Template,
    Verdict,
    WorldWideName,
    __version__,
    check,
    joined,
    mix,
)

__all__ = [
    "Audit",
    "Counts",
    "Diagnostic",
    "Field",
    "Frames",
    "Hexfield",
    "IPv4Address",
    "IPv6Address",
    "MacAddress",
    "Order",
    "Template",
    "Verdict",
    "WorldWideName",
    "__version__",
    "check",
    "joined",
    "mix",
]
