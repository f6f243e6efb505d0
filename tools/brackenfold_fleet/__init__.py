"""Scans of many machines: a record each, engines that distribute them, one report."""


class FleetError(Exception):
    """One line for the user; the run ends."""
