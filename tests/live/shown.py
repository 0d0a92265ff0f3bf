"""What `intfaddr show --json` says, VRF by VRF."""


def by_vrf(document):
    """For each VRF: the rows of its table, the addresses that wait, those that are left out, and
    why nothing of it can be relied on, if that is so."""
    vrfs = {name: {"rows": [], "waiting": [], "left-out": [], "stale": None}
            for name in document["vrfs"]}
    for address in document["addresses"]:
        place = "rows" if address["place"] == "table" else address["place"]
        vrfs[address["vrf"]][place].append(address)
    for unknown in document["notKnown"]:
        name = unknown["what"].removeprefix("VRF '").removesuffix("'")
        if name in vrfs:
            vrfs[name]["stale"] = unknown["why"]
    return vrfs
