"""Addresses, prefixes and keys as plain tuples: comparing them is the order of the field.

IPv4 sorts before IPv6, addresses by value, shorter prefixes first, interface names by their
bytes. Family 0 is the unset address; its text is "".
"""

import ipaddress
from functools import lru_cache
from typing import NamedTuple

IPV4, IPV6 = 4, 6
FAMILY_NAME = {0: "", IPV4: "IPv4", IPV6: "IPv6"}
BITS = {IPV4: 32, IPV6: 128}


class Address(NamedTuple):
    family: int = 0
    value: int = 0


class Masked(NamedTuple):
    """An address with its prefix length, host bits kept."""

    family: int = 0
    value: int = 0
    length: int = 0


class Prefix(NamedTuple):
    """A subnet: no host bits."""

    family: int = 0
    value: int = 0
    length: int = 0


class EntryKey(NamedTuple):
    intf: str = ""
    addr: Address = Address()
    virtual: bool = False


class Content(NamedTuple):
    key: EntryKey
    intf: str
    subnet: Prefix


class WorkKey(NamedTuple):
    """An address of an interface, as the interface's machines publish it."""

    intf: str = ""
    addr: Masked = Masked()


UNSET_IPV4 = Masked(IPV4, 0, 0)


@lru_cache(maxsize=65536)
def address_of(masked: Masked) -> Address:
    return Address(masked.family, masked.value)


@lru_cache(maxsize=65536)
def subnet_of(masked: Masked) -> Prefix:
    bits = BITS[masked.family]
    host = (1 << (bits - masked.length)) - 1
    return Prefix(masked.family, masked.value & ~host, masked.length)


def is_v6_link_local(addr) -> bool:
    return addr.family == IPV6 and addr.value >> 118 == 0x3FA


def ip_key(addr: Address) -> EntryKey:
    return EntryKey("", addr, False)


def link_local_key(addr: Address, intf: str) -> EntryKey:
    return EntryKey(intf, addr, False)


def virtual_key(addr: Address) -> EntryKey:
    return EntryKey("", addr, True)


# Parsers raise ValueError.


@lru_cache(maxsize=65536)
def parse_address(text: str, family: int) -> Address:
    if "%" in text:
        raise ValueError(f"'{text}' has a scope")
    kind = ipaddress.IPv4Address if family == IPV4 else ipaddress.IPv6Address
    return Address(family, int(kind(text)))


@lru_cache(maxsize=65536)
def parse_masked(text: str, family: int) -> Masked:
    host, slash, length = text.partition("/")
    if not slash or not length.isascii() or not length.isdigit() or int(length) > BITS[family]:
        raise ValueError(f"'{text}' is no address/length")
    if len(length) > 1 and length[0] == "0":
        raise ValueError(f"'{text}' is no address/length")
    return Masked(family, parse_address(host, family).value, int(length))


def parse_any_address(text: str) -> Address:
    return parse_address(text, IPV6 if ":" in text else IPV4)


@lru_cache(maxsize=65536)
def address_text(addr) -> str:
    if addr.family == IPV4:
        return str(ipaddress.IPv4Address(addr.value))
    if addr.family == IPV6 and addr.value >> 32 == 0xFFFF:
        return f"::ffff:{ipaddress.IPv4Address(addr.value & 0xFFFFFFFF)}"
    return str(ipaddress.IPv6Address(addr.value)) if addr.family else ""


@lru_cache(maxsize=65536)
def masked_text(masked) -> str:
    return f"{address_text(address_of(masked))}/{masked.length}" if masked.family else ""


def seconds_text(seconds: float) -> str:
    """The shortest decimal that reads back."""
    text = repr(float(seconds))
    return text[:-2] if text.endswith(".0") else text


def bool_text(value: bool) -> str:
    return "true" if value else "false"


def entry_key_text(key: EntryKey) -> str:
    return f"intfId={key.intf};addr={address_text(key.addr)};virtualIp={bool_text(key.virtual)}"


def content_text(content: Content) -> str:
    """The row's own interface is left out: only the key's is told."""
    return f"{entry_key_text(content.key)};subnet={masked_text(content.subnet)}"


def work_key_text(key: WorkKey) -> str:
    return f"intfId={key.intf};addrWithMask={masked_text(key.addr)}"


TEXT = {
    str: lambda text: text,
    int: str,
    bool: bool_text,
    float: seconds_text,
    Address: address_text,
    Masked: masked_text,
    Prefix: masked_text,
    EntryKey: entry_key_text,
    Content: content_text,
    WorkKey: work_key_text,
    type(None): lambda _: "null",
}


def text_of(value) -> str:
    """Entities have no text of their own: they show as what they are not known by."""
    form = TEXT.get(type(value))
    return form(value) if form else "entity#0"
