"""Hostile result documents: deep nesting and huge texts, read as ElementTree reads them."""

import io
import os

from results_oracle import OracleStreamParser

from marlox.external.idea_rcs import RcsOutputFileParser


def section_open(section_id):
    return b"<SectionConcreteCheckResult><SectionId>%d</SectionId>" % section_id


def shapes(parser_class, data):
    sections = parser_class(io.BytesIO(data)).section_results()
    return [(s.id_, s.extremes(), sum(1 for _ in s._element.iter())) for s in sections]


def test_deep_nesting_and_nested_sections_read_as_elementtree_does():
    depth = 50_000
    deep = section_open(1) + b"<a>" * depth + b"</a>" * depth + b"</SectionConcreteCheckResult>"
    nested = b"".join(map(section_open, range(3000))) + b"</SectionConcreteCheckResult>" * 3000
    for body in (deep, nested):
        data = b"<r>" + body + section_open(7) + b"</SectionConcreteCheckResult></r>"
        assert shapes(RcsOutputFileParser, data) == shapes(OracleStreamParser, data)


def resident_bytes():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_storage_of_a_huge_section_is_given_back_before_the_next_one_is_handed_out():
    huge = section_open(1) + b"<T>" + b"x" * 64_000_000 + b"</T></SectionConcreteCheckResult>"
    data = b"<r>" + huge + section_open(2) + b"</SectionConcreteCheckResult></r>"
    before = resident_bytes()
    for section in RcsOutputFileParser(io.BytesIO(data)).section_results():
        if section.id_ == 2:
            assert resident_bytes() - before < 16 << 20
