"""
OpenModel object types, enumerations and base-material tables of IDEA StatiCa RCS.
"""
