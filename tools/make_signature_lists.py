#!/usr/bin/env python3
"""Makes the four signature lists of src/resources/signatures.

Only some rows of the lists are known: their ends and a few in between. This fills the rest with
placeholders, always the same ones, so that the lists have their known lengths and regularities.
Running it again replaces whatever add_signatures.py has added since.
"""

import hashlib
import math
import sys

import signature_lists
from signature_lists import SECTOR

# The sizes of both kinds that are known to stand in both lists.
SHARED_SIZES = {4096, 5632, 6144, 6656, 8704, 9728, 10752, 11264, 13312, 13824, 16384, 16896, 17920,
                18432, 18944, 20992, 23552, 24576, 25600, 27648}
SHARED_SIZE_COUNT = 41

# Per list: how many values; the first and last rows, between which the rest lie; others known.
PARASITE_SIZES = dict(count=172, multiples=80, first=(2048, 2560, 2645, 4096, 5632, 6144),
                      last=(616448, 635392, 637440, 668160), known=(7985, 8025))
GOOD_SIZES = dict(count=537, multiples=283, first=(3584, 4096, 4608, 5120, 5632, 6144, 6656),
                  last=(4657152, 6369280, 12598440, 13244072), known=(9328,))
PARASITE_HASHES = dict(count=230, first=(522891, 4116460, 12649235, 13084053),
                       last=(2104844698, 2107839065, 2109057513, 2144776197))
GOOD_HASHES = dict(count=1045, first=(228221, 1612267, 4108130, 5485141),
                   last=(2144446872, 2146021194, 2147186337, 2147483647))


class Fractions:
    """Endless numbers from 0 to 1, the same in every run and every version of Python."""

    def __init__(self, seed):
        self._seed = seed
        self._count = 0

    def next(self):
        digest = hashlib.sha256(f"{self._seed} {self._count}".encode()).digest()
        self._count += 1
        return int.from_bytes(digest[:8], "big") / 2**64


def fill(values, wanted, candidates):
    """Adds candidates until `wanted` of them are new."""
    while wanted > 0:
        candidate = next(candidates)
        if candidate is not None and candidate not in values:
            values.add(candidate)
            wanted -= 1


def sizes_between(spec, seed, skew, multiples, excluded):
    """Sizes behind the first rows and before the last ones, the more the smaller."""
    low, high = spec["first"][-1], spec["last"][0]
    fractions = Fractions(seed)
    while True:
        size = int(low * math.exp(math.log(high / low) * fractions.next() ** skew))
        if multiples:
            size -= size % SECTOR
        fits = low < size < high and (size % SECTOR == 0) == multiples and size not in excluded
        yield size if fits else None


def multiples_in(values):
    return sum(value % SECTOR == 0 for value in values)


def known_rows(spec):
    return {*spec["first"], *spec["last"], *spec.get("known", ())}


def make_sizes(spec, seed, skew, shared, excluded):
    values = known_rows(spec) | shared
    for multiples, wanted in ((True, spec["multiples"]), (False, spec["count"] - spec["multiples"])):
        have = multiples_in(values) if multiples else len(values) - multiples_in(values)
        candidates = sizes_between(spec, f"{seed} {multiples}", skew, multiples, excluded)
        fill(values, wanted - have, candidates)
    return sorted(values)


def make_hashes(spec, seed, excluded):
    low, high = spec["first"][-1], spec["last"][0]
    fractions = Fractions(seed)

    def candidates():
        while True:
            value = low + 1 + int((high - low - 1) * fractions.next())
            yield None if value in excluded else value

    values = known_rows(spec)
    fill(values, spec["count"] - len(values), candidates())
    return sorted(values)


def make_shared_sizes():
    """All shared sizes: multiples that lie in the open part of both lists."""
    shared = set(SHARED_SIZES)
    candidates = sizes_between(PARASITE_SIZES, "shared sizes", 1.5, True, known_rows(GOOD_SIZES))
    fill(shared, SHARED_SIZE_COUNT - len(shared), candidates)
    return shared


def make_lists():
    shared = make_shared_sizes()
    parasite_sizes = make_sizes(PARASITE_SIZES, "parasite sizes", 1.2, shared,
                                known_rows(GOOD_SIZES))
    good_sizes = make_sizes(GOOD_SIZES, "good sizes", 1.1, shared, set(parasite_sizes))
    parasite_hashes = make_hashes(PARASITE_HASHES, "parasite hashes", known_rows(GOOD_HASHES))
    good_hashes = make_hashes(GOOD_HASHES, "good hashes", set(parasite_hashes))
    return dict(parasite_sizes=parasite_sizes, parasite_hashes=parasite_hashes,
                good_sizes=good_sizes, good_hashes=good_hashes)


def check_regularities(lists):
    specs = dict(parasite_sizes=PARASITE_SIZES, parasite_hashes=PARASITE_HASHES,
                 good_sizes=GOOD_SIZES, good_hashes=GOOD_HASHES)
    for name, spec in specs.items():
        values = lists[name]
        assert len(values) == spec["count"], name
        assert tuple(values[:len(spec["first"])]) == spec["first"], name
        assert tuple(values[-len(spec["last"]):]) == spec["last"], name
        assert set(spec.get("known", ())) <= set(values), name
        assert "multiples" not in spec or multiples_in(values) == spec["multiples"], name
    shared = set(lists["parasite_sizes"]) & set(lists["good_sizes"])
    assert len(shared) == SHARED_SIZE_COUNT and SHARED_SIZES <= shared, "shared sizes"


def main():
    lists = make_lists()
    check_regularities(lists)
    signature_lists.write_all(lists)
    sys.stdout.write(signature_lists.summary(lists))


if __name__ == "__main__":
    main()
