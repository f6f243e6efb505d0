"""The example machines: Windows machines held in files, made from a description in Python."""
