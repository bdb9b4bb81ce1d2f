"""Result documents in the shape IDEA StatiCa RCS writes, for tests of the result parsers.

``documents()`` is a hypothesis strategy of whole result files (bytes): sections with extremes
and every check family, each family present, absent, empty or malformed, numbers written the
way .NET writes them and in the odd ways ``float()`` still reads (or does not), duplicated
checks, nested and misplaced sections, unknown elements, comments, CDATA and character
references, UTF-16 with BOM and CRLF as RCS writes it, UTF-8, and now and then a document cut
short. ``sample_document()`` builds one fixed, well-formed document without hypothesis.

Documents are built as small ``Node`` trees and rendered by hand, so that the exact bytes (self
closing tags, indentation, line ends, mixed content) are under the test's control.
"""

import math
import random
from pathlib import Path

from hypothesis import strategies as st

SAMPLE = Path(__file__).parent / "data" / "rcs-result-synthetic.xml"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
XSD = "http://www.w3.org/2001/XMLSchema"
FORCES = ("N", "Qy", "Qz", "Mx", "My", "Mz")
STRESS_CHECKS = tuple(
    "Check_7_2_2_Concrete_fck Check_7_2_3_Concrete_fck Check_7_2_5_Tendons_fpk "
    "Check_7_2_5_ReinforcementBars_fyk Check_5_10_3_2_Tendons Check_5_10_2_1_1_Tendons".split()
)
RESULTS = ("Passed", "Failed", "PassedWithWarnings", "CheckIsNotNecesssary", "NotDone")
FAMILIES = tuple(
    "Capacity Shear Torsion Interaction CrackWidth StressLimitation Detailing Fatigue "
    "Response".split()
)

# Texts that float() reads, beside plain numbers: what .NET writes ("R" format, NaN, INF) and
# what a hand-edited or foreign file may hold (padding, underscores, other digit scripts).
ODD_NUMBERS = (
    ("-0", "0", "1E-05", "7.386281948385884E+15", "NaN", "INF", "-INF", " 1.5 ")
    + ("\t-2.25\n", "1_0", "1_000.5", "+3", ".5", "5.", "1e400", "-1e-400", "nan")
    + ("-nan", "inf", "Infinity", "-iNfInItY", "1.7976931348623157E+308", "4.9E-324")
    + ("0.23653434150000536", "\u0663", "\uff11\uff12", "\u00a01.5\u00a0", "1e1_0")
)
# Texts that float() refuses.
BAD_NUMBERS = (" ", "abc", "1__0", "_1", "1_", "0x10", "1,5", "1.5.2", "- 1", "1e", "infinit")
BAD_NUMBERS += ("nan(1)", "Passed", "1\u00e9")
# Section ids that int() reads, and some it refuses.
ODD_IDS = (" 12 ", "+3", "1_2", "007", "-1", "\u0664", "\n5\r\n")
BAD_IDS = ("3.0", "abc", "", " ", "1e3", "0x1")


class Raw(str):
    """Text that is written into the document as it stands (character references, CDATA)."""


# Verdict texts are passed through untouched, whatever they hold.
ODD_RESULTS = ("  Passed  ", "Passed\nFailed", Raw("Passed&#13;"), "a&b<c>\"'", "")
ODD_RESULTS += ("Vyhovuje \u00fa\u017e", "\u2713 OK \U0001f600")


class Node:
    """One element (or, with the tags "!--" and "?", a comment or processing instruction)."""

    __slots__ = ("tag", "text", "children", "attrs", "tail")

    def __init__(self, tag, text=None, children=None, attrs=None, tail=None):
        self.tag = tag
        self.text = text
        self.children = list(children or ())
        self.attrs = attrs or {}
        self.tail = tail

    def add(self, *children):
        self.children.extend(c for c in children if c is not None)
        return self


def leaf(tag, text):
    return Node(tag, text)


def _escape(text):
    if isinstance(text, Raw):
        return str(text)
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def _escape_attr(text):
    return _escape(text).replace('"', "&quot;")


def _render(node, out, depth, nl, pretty):
    pad = "  " * depth if pretty else ""
    if node.tag == "!--":
        out.append(f"{pad}<!--{node.text or ''}-->")
    elif node.tag == "?":
        out.append(f"{pad}<?{node.text}?>")
    else:
        attrs = "".join(f' {k}="{_escape_attr(v)}"' for k, v in node.attrs.items())
        if not node.children and node.text is None:
            out.append(f"{pad}<{node.tag}{attrs} />")
        elif not node.children:
            out.append(f"{pad}<{node.tag}{attrs}>{_escape(node.text)}</{node.tag}>")
        else:
            mixed = node.text is not None or any(c.tail is not None for c in node.children)
            inner = pretty and not mixed
            out.append(f"{pad}<{node.tag}{attrs}>")
            if node.text is not None:
                out.append(_escape(node.text))
            for child in node.children:
                if inner:
                    out.append(nl)
                _render(child, out, depth + 1, nl, inner)
            if inner:
                out.append(nl + pad)
            out.append(f"</{node.tag}>")
    if node.tail is not None:
        out.append(_escape(node.tail))


def render(
    root, encoding="utf-16", declaration=True, newline="\r\n", pretty=True, trailer="", doctype=""
):
    """The bytes of a document whose root element is ``root``.

    ``encoding`` is "utf-16" (little endian with BOM, as RCS writes), "utf-16-be" (with BOM),
    "utf-8", "utf-8-sig" or "utf-8-as-utf-16" (UTF-8 bytes under a UTF-16 declaration, which
    the XML parser rejects). ``doctype`` and ``trailer`` are written before and after the root
    element.
    """
    out = []
    if declaration:
        declared = {"utf-8": "utf-8", "utf-8-sig": "utf-8"}.get(encoding, "utf-16")
        out.append(f'<?xml version="1.0" encoding="{declared}"?>{newline}')
    if doctype:
        out.append(doctype + newline)
    _render(root, out, 0, newline, pretty)
    out.append(trailer)
    text = "".join(out)
    boms = {"utf-16": b"\xff\xfe", "utf-16-be": b"\xfe\xff", "utf-8-sig": b"\xef\xbb\xbf"}
    codec = {"utf-16": "utf-16-le", "utf-16-be": "utf-16-be"}.get(encoding, "utf-8")
    return boms.get(encoding, b"") + text.encode(codec)


# -- well-formed building blocks, shared by the fixed document and the strategies --


def dotnet_number(value):
    """A double as .NET's round-trip format writes it."""
    if math.isnan(value):
        return "NaN"
    if math.isinf(value):
        return "INF" if value > 0 else "-INF"
    if value == 0:
        return "-0" if math.copysign(1.0, value) < 0 else "0"
    if value == int(value) and abs(value) < 1e15:
        return str(int(value))
    text = repr(value)
    if "e" in text:
        mantissa, exponent = text.split("e")
        sign = "-" if exponent.startswith("-") else "+"
        digits = exponent.lstrip("+-")
        text = f"{mantissa.removesuffix('.0')}E{sign}{digits.zfill(2)}"
    return text


def forces_node(tag, values):
    return Node(tag, children=[leaf(k, v) for k, v in zip(FORCES, values, strict=True)])


def family(result_type, *items):
    children = [leaf("ResultType", result_type), Node("CheckResults", children=items)]
    return Node("ConcreteCheckResult", children=children)


def item(**leaves):
    """A "ConcreteCheckResultBase" with the given leaves, in the given order."""
    return Node("ConcreteCheckResultBase", children=[leaf(k, v) for k, v in leaves.items()])


def extreme(*families):
    return Node("ConcreteCheckResults", children=[Node("CheckResults", children=families)])


def overall(result_types):
    items = [
        Node(
            "ConcreteCheckResultOverallItem",
            children=[leaf("ResultType", t), leaf("Result", "Passed")],
        )
        for t in result_types
    ]
    return Node("Overall", children=[Node("Checks", children=items)])


def result_root(sections):
    return Node(
        "ArrayOfSectionConcreteCheckResult",
        attrs={"xmlns:xsi": XSI, "xmlns:xsd": XSD},
        children=sections,
    )


def section_node(section_id, extremes):
    return Node(
        "SectionConcreteCheckResult",
        children=[leaf("SectionId", section_id), Node("ExtremeResults", children=extremes)],
    )


def sample_document(sections=2, extremes=2):
    """The synthetic sample (every family in every extreme, as RCS writes it) with its section
    repeated under the ids 1 to ``sections``, each keeping its first ``extremes`` extremes."""
    lines = SAMPLE.read_bytes().decode("utf-16").split("\r\n")
    start, stop = (
        lines.index("  <SectionConcreteCheckResult>"),
        lines.index("  </SectionConcreteCheckResult>"),
    )
    body = lines[start : stop + 1]
    cuts = [i for i, line in enumerate(body) if line == "      <ConcreteCheckResults>"]
    cuts.append(body.index("    </ExtremeResults>"))
    body = "\r\n".join(body[: cuts[extremes]] + body[cuts[-1] :])
    copies = [body.replace("<SectionId>1<", f"<SectionId>{i + 1}<") for i in range(sections)]
    text = "\r\n".join(lines[:start] + copies + lines[stop + 1 :])
    return text.encode("utf-16")


# -- strategies --


class _Chaos:
    """How often a document strays from what RCS writes (drawn once per document)."""

    def __init__(self, draw, level):
        self.draw = draw
        self.level = level  # 0: well-formed values only, 1: sometimes odd, 2: often odd
        # Hypothesis leans towards small integers, so rates come from a seeded generator.
        self.rng = random.Random(draw(st.integers(0, 2**32)))

    def odd(self, percent):
        """True with about ``percent`` per cent (times the level), never at level 0."""
        if self.level == 0:
            return False
        return self.rng.random() * 100 < percent * self.level


def _number(chaos):
    draw = chaos.draw
    if chaos.odd(8):
        return draw(st.sampled_from(ODD_NUMBERS))
    if chaos.odd(2):
        return draw(st.sampled_from(BAD_NUMBERS))
    numbers = st.floats(-1e6, 1e6) | st.floats() | st.integers(-(10**6), 10**6).map(float)
    return dotnet_number(draw(numbers))


def _value_leaf(chaos, tag, text):
    """A leaf that is usually ``<tag>text</tag>``, and sometimes missing, empty or odd."""
    draw = chaos.draw
    if chaos.odd(1):
        return None
    if chaos.odd(1):
        return Node(tag)
    if chaos.odd(2):
        # The same value spelled through markup that the parser folds away.
        form = draw(st.integers(0, 3))
        if form == 0 and text:
            return Node(tag, Raw(f"<![CDATA[{text}]]>"))
        if form == 1 and text:
            return Node(tag, Raw(f"&#{ord(text[0])};" + _escape(text[1:])))
        if form == 2 and len(text) > 1:
            return Node(tag, Raw(_escape(text[:1]) + "<!--c-->" + _escape(text[1:])))
        if form == 3 and len(text) > 1:
            # Mixed content: the leaf's text ends at the child element.
            return Node(tag, text[:1], children=[Node("x", tail=text[1:])])
    return Node(tag, text)


def _leaves(chaos, tags):
    out = []
    for tag in tags:
        node = _value_leaf(chaos, tag, _number(chaos))
        if node is not None:
            out.append(node)
            if chaos.odd(1):
                out.append(leaf(tag, _number(chaos)))  # a second leaf of the same name
    if chaos.odd(3):
        out.insert(chaos.draw(st.integers(0, len(out))), leaf("Unknown", "x"))
    if chaos.odd(2):
        chaos.rng.shuffle(out)
    return out


def _head(chaos, check, forces=None):
    draw = chaos.draw
    forces = forces or tuple(_number(chaos) for _ in FORCES)
    result = draw(st.sampled_from(ODD_RESULTS if chaos.odd(5) else RESULTS))
    head = [
        forces_node("InternalFores", forces),
        Node("NonConformities"),
        _value_leaf(chaos, "Result", result) if not chaos.odd(1) else Node("Result"),
        _value_leaf(chaos, "CheckValue", _number(chaos)),
        leaf("LimitCheckValue", "1"),
        _value_leaf(chaos, "Check", check),
    ]
    return [h for h in head if h is not None]


def _item(chaos, xsi_type, check, own, forces=None):
    if chaos.odd(2):
        return Node("ConcreteCheckResultBase")  # present but empty
    children = _head(chaos, check, forces) + own
    return Node("ConcreteCheckResultBase", children=children, attrs={"xsi:type": xsi_type})


def _forces_set(chaos, tag):
    draw = chaos.draw
    if chaos.odd(3):
        return Node(tag)  # the empty set, read as None
    if chaos.odd(1):
        return None
    children = _leaves(chaos, FORCES)
    if chaos.odd(1):
        children.insert(0, Node("Loading", children=[leaf("Id", "1")]))
    if chaos.odd(1):
        children = children[: draw(st.integers(0, len(children)))]
    return Node(tag, children=children)


def _capacity(chaos):
    own = [_forces_set(chaos, t) for t in ("Fu1", "Fu2", "Fu")]
    own = [o for o in own if o is not None] + [leaf("CheckMethod", "IDCheckTypeNuMuMu")]
    return [_item(chaos, "ConcreteULSCheckResultDiagramCapacityEc2", "Capacity", own)]


SHEAR_TAGS = ("Ved", "Vrdc", "Vrdr", "Vrdmax", "Vrds", "Vrd")
# The families of one item whose own leaves are numbers: (xsi:type, leaf tags).
_PLAIN_FAMILIES = {
    "Shear": ("ConcreteULSCheckResultShearEc2", SHEAR_TAGS),
    "Torsion": ("ConcreteULSCheckResultTorsionEc2", "Ted Trdc Trdmax Trds Trd".split()),
    "Interaction": (
        "ConcreteULSCheckResultInteractionEc2",
        "Ned Medy Medz Ved Ted CheckValueShearAndTorsion CheckValueShearTorsionAndBending".split(),
    ),
    "Detailing": ("ConcreteCheckDetailingEc2", ["CheckValueLongReinf", "CheckValueShearReinf"]),
    "Response": ("ConcreteULSCheckResultResponseEc2", []),
}


def _plain(chaos, result_type):
    xsi_type, tags = _PLAIN_FAMILIES[result_type]
    return [_item(chaos, xsi_type, result_type, _leaves(chaos, tags))]


def _crack_width(chaos):
    checks = st.sampled_from(["CrackWidthShort", "CrackWidthLong", "CrackWidthStage"])
    checks = chaos.draw(st.lists(checks, max_size=4))
    xsi_type, tags = "ConcreteSLSCheckResultCrackWidthEc2", ("N", "My", "Mz", "W", "Wlim")
    return [_item(chaos, xsi_type, check, _leaves(chaos, tags)) for check in checks]


def _stress_limitation(chaos):
    terms = ["StressLimitationShort", "StressLimitationLong"]
    if chaos.odd(2):
        terms.append("StressLimitationStage")
    type_checks = list(STRESS_CHECKS) + (["notSet"] if chaos.odd(2) else [])
    pairs = st.lists(st.tuples(st.sampled_from(terms), st.sampled_from(type_checks)), max_size=6)
    items = []
    for check, type_check in chaos.draw(pairs):
        nan = chaos.draw(st.sampled_from(["NaN", "nan", "-nan", " nan ", "NAN", "nan\n"]))
        own = [
            _value_leaf(chaos, "TypeCheck", type_check),
            _value_leaf(chaos, "Stress", nan if chaos.odd(10) else _number(chaos)),
            leaf("LimitStress", "NaN"),
        ]
        xsi_type = "ConcreteSLSCheckResultStressLimitationEc2"
        items.append(_item(chaos, xsi_type, check, [o for o in own if o is not None]))
    return items


def _fatigue(chaos):
    draw = chaos.draw
    fmax = tuple(_number(chaos) for _ in FORCES)
    fmin = fmax if chaos.odd(5) else tuple(_number(chaos) for _ in FORCES)
    own = [
        _value_leaf(chaos, "DecissionMethod", "Method_6_8_7_1"),
        forces_node("InternalForceMax", fmax) if not chaos.odd(1) else None,
        forces_node("InternalForceMin", fmin) if not chaos.odd(1) else None,
    ]
    if chaos.odd(1):
        own[0] = leaf("DecisionMethod", "Method_6_8_7_1")  # spelled right: not what is read
    items = [_item(chaos, "ConcreteULSCheckResultFatigueEc2", "Fatigue", [o for o in own if o])]
    for _ in range(draw(st.integers(0, 3))):
        which = draw(st.sampled_from(["max", "min", "other", "respelled"]))
        if which == "max":
            forces = fmax
        elif which == "min":
            forces = fmin
        elif which == "respelled":
            # Numerically equal, textually different: never a match.
            forces = tuple(f + ".0" if f.lstrip("-").isdigit() else f for f in fmax)
        else:
            forces = tuple(_number(chaos) for _ in FORCES)
        shear = _leaves(chaos, SHEAR_TAGS)
        items.append(_item(chaos, "ConcreteULSCheckResultShearEc2", "Shear", shear, forces))
    if chaos.odd(3):
        chaos.rng.shuffle(items)
    return items


_FAMILY_ITEMS = {t: (lambda chaos, t=t: _plain(chaos, t)) for t in _PLAIN_FAMILIES}
_FAMILY_ITEMS.update(Capacity=_capacity, CrackWidth=_crack_width, Fatigue=_fatigue)
_FAMILY_ITEMS.update(StressLimitation=_stress_limitation)


def _family(chaos, result_type):
    """One "ConcreteCheckResult", present in one of the ways a reader must tell apart."""
    draw = chaos.draw
    shape = "full"
    if chaos.odd(4):
        shape = draw(st.sampled_from(["no_check_results", "empty_check_results", "odd_type"]))
    type_text = result_type
    if shape == "odd_type":
        odd = [result_type.lower(), f" {result_type} ", Raw(f"<![CDATA[{result_type}]]>")]
        odd.append(Raw(f"{result_type[:2]}<!--c-->{result_type[2:]}"))  # still matched
        type_text = draw(st.sampled_from(odd))
    children = [Node("ResultType", type_text)]
    if shape == "empty_check_results":
        children.append(Node("CheckResults"))
    elif shape != "no_check_results":
        children.append(Node("CheckResults", children=_FAMILY_ITEMS[result_type](chaos)))
    if chaos.odd(1):
        children.reverse()  # CheckResults before ResultType: still matched
    return Node("ConcreteCheckResult", children=children)


def _extreme(chaos):
    draw = chaos.draw
    chosen = draw(st.lists(st.sampled_from(FAMILIES), max_size=len(FAMILIES), unique=True))
    if chaos.level == 0 or not chaos.odd(3):
        chosen.sort(key=FAMILIES.index)
    families = [_family(chaos, t) for t in chosen]
    if chaos.odd(2) and chosen:
        families.append(_family(chaos, draw(st.sampled_from(chosen))))  # the family twice
    check_results = Node("CheckResults", children=families)
    if chaos.odd(2):
        # One level deeper than RCS writes: ".//" still finds it.
        check_results = Node("CheckResults", children=[Node("Wrapper", children=families)])
    children = [check_results]
    if draw(st.booleans()):
        children.append(overall(chosen))
    if chaos.odd(2):
        children.insert(0, Node("!--", " extreme "))
    tag = "ConcreteCheckResults" if not chaos.odd(2) else "SomethingElse"
    return Node(tag, children=children)


def _section(chaos, section_id):
    draw = chaos.draw
    children = []
    if chaos.odd(2):
        children.append(leaf("SectionId", draw(st.sampled_from(BAD_IDS))))
    elif not chaos.odd(1):
        children.append(leaf("SectionId", section_id))
    extremes_shape = draw(st.sampled_from(["extremes"] * 4 + ["absent", "empty"]))
    if extremes_shape == "extremes":
        n = draw(st.integers(1, 3))
        children.append(Node("ExtremeResults", children=[_extreme(chaos) for _ in range(n)]))
    elif extremes_shape == "empty":
        children.append(Node("ExtremeResults"))
    if chaos.odd(3):
        children.insert(draw(st.integers(0, len(children))), leaf("Name", "S 1"))
    return Node("SectionConcreteCheckResult", children=children)


def _section_id(chaos):
    draw = chaos.draw
    if chaos.odd(5):
        return draw(st.sampled_from(ODD_IDS))
    return str(draw(st.integers(1, 4)))


@st.composite
def result_trees(draw):
    """The root ``Node`` of a result document."""
    chaos = _Chaos(draw, draw(st.sampled_from([0, 0, 1, 1, 2])))
    count = draw(st.integers(0, 4))
    sections = [_section(chaos, _section_id(chaos)) for _ in range(count)]
    if sections and chaos.odd(5):
        # A section below another element: the streaming parser finds it, the whole-document
        # parser (direct children of the root only) does not.
        i = draw(st.integers(0, len(sections) - 1))
        host = draw(st.sampled_from(["wrapper", "section", "extremes"]))
        inner = _section(chaos, _section_id(chaos))
        if host == "wrapper":
            sections[i] = Node("Wrapper", children=[sections[i]])
        elif host == "section":
            sections[i].add(inner)
        else:
            # A section may have lost all its children to the chaos.
            extremes = sections[i].children[-1] if sections[i].children else None
            if extremes is not None and extremes.tag == "ExtremeResults":
                extremes.add(inner)
    if chaos.odd(3):
        sections.insert(draw(st.integers(0, len(sections))), Node("Unknown", "x"))
    if chaos.odd(1):
        sections.insert(0, Node("?", "pi data"))
    if count == 1 and chaos.odd(1):
        return sections[-1]  # the section is the document's root
    return result_root(sections)


def _entities(draw, root):
    """A document type declaration, with some leaf texts turned into entity references.

    Internal entities are expanded by the XML parser; a reference to an entity that is not
    declared, in a document with an external subset, is ElementTree's "undefined entity".
    """
    leaves = []
    stack = [root]
    while stack:
        node = stack.pop()
        if node.tag not in ("!--", "?") and not node.children and node.text is not None:
            leaves.append(node)
        stack.extend(node.children)
    rng = random.Random(draw(st.integers(0, 2**32)))
    external = rng.random() < 0.3
    for node in rng.sample(leaves, min(len(leaves), 3)):
        node.text = Raw(rng.choice(["&v;", "&t;", "&v;&v;"] + ["&undeclared;"] * external))
    system = ' SYSTEM "result.dtd"' if external else ""
    return f'<!DOCTYPE {root.tag}{system} [<!ENTITY v "2.5"><!ENTITY t "Passed">]>'


@st.composite
def documents(draw, allow_broken=True):
    """Result files as bytes, mostly as RCS writes them (UTF-16, BOM, CRLF)."""
    root = draw(result_trees())
    encoding = draw(st.sampled_from(["utf-16"] * 4 + ["utf-8", "utf-8-sig", "utf-16-be"]))
    declaration = encoding.startswith("utf-16") or draw(st.booleans())
    newline = "\r\n" if encoding.startswith("utf-16") or draw(st.booleans()) else "\n"
    broken = allow_broken and random.Random(draw(st.integers(0, 2**32))).random() < 0.1
    how = draw(st.sampled_from(["cut", "cut", "declared utf-16", "junk after"])) if broken else ""
    if how == "declared utf-16":
        encoding, declaration = "utf-8-as-utf-16", True
    # After "junk after" the document is well-formed up to the end of the root, so every
    # section comes before the error.
    trailer = newline + "<extra />" if how == "junk after" else ""
    doctype = _entities(draw, root) if draw(st.integers(0, 19)) == 7 else ""
    data = render(root, encoding, declaration, newline, draw(st.booleans()), trailer, doctype)
    if how == "cut":
        data = data[: draw(st.integers(0, len(data) - 1))]
    return data


# -- random trees over the readers' own vocabulary, for the path semantics --

_PATH_TAGS = tuple(
    "ResultType CheckResults ConcreteCheckResultBase Check TypeCheck Stress CheckValue Result Ved "
    "Vrd Trd Ned N My W Fu Fu1 InternalForceMax InternalForceMin DecissionMethod "
    "CheckValueLongReinf X".split()
)
_PATH_TEXTS = FAMILIES + tuple(
    "CrackWidthShort CrackWidthLong StressLimitationShort StressLimitationLong "
    "Check_7_2_2_Concrete_fck Shear Fatigue 1.5 -0 nan Crack WidthShort".split()
)


def _path_node(children_strategy):
    return st.builds(
        lambda tag, text, children, tails: Node(
            tag,
            text,
            [
                Node(c.tag, c.text, c.children, c.attrs, tail) if tail else c
                for c, tail in zip(children, tails, strict=False)
            ],
        ),
        st.sampled_from(_PATH_TAGS),
        st.none() | st.sampled_from(_PATH_TEXTS),
        st.lists(children_strategy, max_size=4),
        st.lists(st.none() | st.sampled_from(_PATH_TEXTS), max_size=4),
    )


path_trees = st.recursive(
    st.builds(Node, st.sampled_from(_PATH_TAGS), st.none() | st.sampled_from(_PATH_TEXTS)),
    _path_node,
    max_leaves=40,
)
"""Small trees whose tags and texts are the ones the readers' paths name, nested at random,
with mixed content: the readers' path expressions must select what ElementTree selects."""
