"""The content hash by which the program knows files, by its plain definition."""

MAXIMUM = 0x7FFFFFFF


def content_hash(data: bytes) -> int:
    """The hash of a file's bytes, 0 to 2147483647; 0 for no bytes.

    Each byte rotates the hash right by one within 31 bits and is then added; a byte whose addition
    would pass the maximum has no effect at all.
    """
    value = 0
    for byte in data:
        step = (value >> 1) + ((value & 1) << 30) + byte
        if step <= MAXIMUM:
            value = step
    return value
