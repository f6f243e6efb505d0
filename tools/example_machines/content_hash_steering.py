"""Brings a file to a wanted size and content hash by its last bytes.

The content hash turns a 31-bit number right by one bit and adds the next byte. Modulo 2^31 - 1 that
is linear: a byte counts 2^-d when d bytes stand behind it, so the last 31 bytes count 2^0, 2^30,
2^29, ... 2^1, and the difference that is missing is simply written there, one bit a byte.
"""

from content_hash import content_hash

MODULUS = 2**31 - 1
STEERED = 31


def steer(content, size=None, wanted=None):
    """`content`, padded with zeros to `size`, with the last 31 bytes set so that it has the hash
    `wanted` (below 2^31 - 1). Those bytes must be padding."""
    if size is not None:
        if len(content) > size:
            raise ValueError(f"{len(content)} bytes don't fit into {size}")
        content = content.ljust(size, b"\0")
    if wanted is None:
        return content
    head = content[:-STEERED]
    if any(content[-STEERED:]):
        raise ValueError("no padding at the end to steer with")
    missing = (wanted - content_hash(content)) % MODULUS
    tail = bytes(missing >> (31 - distance) % 31 & 1 for distance in range(STEERED - 1, -1, -1))
    result = head + tail
    if content_hash(result) != wanted:
        raise ValueError("a byte was skipped on overflow; change the content a little")
    return result
