"""Addresses against ipaddress, and byte fields against int."""

import ipaddress
import pickle

import pytest
from hypothesis import given, strategies as st

from zor_common import Hexfield, IPv4Address, IPv6Address, MacAddress, WorldWideName

TYPES = [IPv4Address, IPv6Address, MacAddress, WorldWideName]


@pytest.mark.parametrize("own,their", [(IPv4Address, ipaddress.IPv4Address), (IPv6Address, ipaddress.IPv6Address)])
def test_round_trips_with_ipaddress(own, their):
    most = 2**their("0.0.0.0" if own is IPv4Address else "::").max_prefixlen - 1

    @given(st.integers(0, most), st.integers(0, most), st.integers(-(2**130), 2**130))
    def check(number, other, distance):
        address, judge = own(number), their(number)
        assert str(address) == str(judge) and own(str(judge)) == own(judge) == own(judge.packed) == address
        assert address.to_ipaddress() == judge and their(int(address)) == judge and address.packed == judge.packed
        assert (address < own(other)) == (judge < their(other)) and (address == own(other)) == (number == other)
        assert int(address + distance) == (number + distance) & most and int(address - distance) == (number - distance) & most
        assert address - own(other) == (number - other) & most
        assert pickle.loads(pickle.dumps(address)) == address and hash(own(number)) == hash(address)
        assert int(~address) == most - number and int(address & own(other)) == number & other

    check()
    assert own.max_prefixlen == their(0).max_prefixlen


@given(st.text("0123456789abcdef.:/%-", max_size=24))
def test_texts_are_those_of_ipaddress(text):
    for own, their in ((IPv4Address, ipaddress.IPv4Address), (IPv6Address, ipaddress.IPv6Address)):
        try:
            expected = their(text) if "%" not in text else None
        except ValueError:
            expected = None
        if expected is None:
            with pytest.raises(ValueError):
                own(text)
        else:
            assert own(text).to_ipaddress() == expected


@given(st.integers(0, 2**48 - 1))
def test_mac_addresses(number):
    address = MacAddress(number)
    digits = number.to_bytes(6, "big").hex()
    assert str(address) == ":".join(digits[k : k + 2] for k in range(0, 12, 2))
    assert MacAddress(".".join(digits[k : k + 4] for k in range(0, 12, 4))) == address == MacAddress(address)
    assert int(WorldWideName(address.packed + b"\0\1")) == number * 65536 + 1


def test_what_is_no_address():
    for own in TYPES:
        for wrong in ("", "1", "x", -1, 2**128, b"\0\0\0"):
            with pytest.raises(ValueError):
                own(wrong)
        with pytest.raises(TypeError):
            own(1.5)
        with pytest.raises(TypeError):
            own(0) < 5
        assert own(0) != 0 and own() == own(0) and len({own(0), own(0), own(1)}) == 2
        assert int(own(2**30 + 5).network(own.max_prefixlen - 8)) == 2**30 and own(7).network(0) == own(0)
    with pytest.raises(ValueError, match="leading zero at character 5"):
        IPv4Address("10.01.0.1")
    with pytest.raises(ValueError, match="scope"):
        IPv6Address(ipaddress.IPv6Address("fe80::1%eth0"))
    with pytest.raises(ValueError):
        IPv4Address(ipaddress.IPv6Address("::1"))


@given(st.binary(min_size=1, max_size=8), st.binary(min_size=1, max_size=8), st.integers(0, 12))
def test_hexfields_are_ints_that_wrap(left, right, size):
    width = max(len(left), len(right))
    one, other, most = Hexfield(left), Hexfield(right), 256**width
    a, b = int.from_bytes(left, "big"), int.from_bytes(right, "big")
    assert int(one + other) == (a + b) % most and int(one - other) == (a - b) % most and len(one + other) == width
    assert int(one & other) == a & b and int(one | other) == a | b and int(~one) == 256 ** len(left) - 1 - a
    assert (one == other) == (left == right) and bytes(one) == left and str(one) == left.hex() and list(one) == list(left)
    assert pickle.loads(pickle.dumps(one)) == one == Hexfield(left.hex()) and hash(one) == hash(Hexfield(left))
    assert int(one.resized(size)) == a % 256**size and len(one.resized(size)) == size


def test_what_is_no_hexfield():
    for wrong in ("xyz", bytes(65536), "0" * 131072):
        with pytest.raises(ValueError):
            Hexfield(wrong)
    with pytest.raises(ValueError):
        Hexfield("01") * 2**32
    with pytest.raises(IndexError):
        Hexfield("01")[1]
