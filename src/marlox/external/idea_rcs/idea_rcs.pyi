"""Build IDEA StatiCa RCS models, run analyses and read their results."""
