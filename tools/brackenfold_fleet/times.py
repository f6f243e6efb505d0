"""When things of a record were: a record made with --times says it of files and registry keys."""


def key_path(place):
    """The registry key of a place, helper object or setting, as the record's times name it; None if it
    has none."""
    registry = place["registry"]
    return registry and f"{registry['hive']}\\{registry['key']}"


class Times:
    def __init__(self, record):
        times = record.get("times", {})
        self.scanned = times.get("scanned")
        self._files = {entry["path"]: entry["modified"] for entry in times.get("files", [])}
        self._keys = {(entry["path"], entry["user"]): entry["modified"]
                      for entry in times.get("keys", [])}
        self.oldest_file = min(self._files.values(), default=None)

    def of_file(self, path):
        return self._files.get(path)

    def of_key(self, place):
        if not self._keys:
            return None
        path = key_path(place)
        return self._keys.get((path, place["user"])) or self._keys.get((path, None))
