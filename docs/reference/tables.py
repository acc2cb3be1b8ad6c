"""The rows of ews/tables as documented declarations: what the headers make of them by macros."""
import functools
import os
import re

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
ROW = re.compile(r"^\s*VQ_(\w+)\((.*)\)\s*(?://.*)?$")
RULES = {
    "Optional": "Optional.", "Required": "Required.", "Many": "Any number.", "NonEmpty": "At least one.", "UpTo3": "Up to three.",
    "Choice0": "An alternative.", "Choice1": "An alternative.",
}


def rows(table):
    for kind, arguments, _ in told_rows(table):
        yield kind, arguments


def told_rows(table):
    """Each row with what the line above it says."""
    above = ""
    for line in open(os.path.join(ROOT, table), encoding="utf-8"):
        found = ROW.match(line)
        if found:
            yield found[1], [part.strip().strip('"') for part in re.split(r",\s*(?![^<]*>)", found[2])], above
        above = line[2:].strip() if line.startswith("// ") else ""


def enumerations(table):
    name, told, values = "", "", []
    for kind, arguments, above in told_rows(table):
        if kind == "ENUM":
            name, told, values = arguments[0], above, []
            if not told.endswith("."):
                raise SystemExit(f"{table}: nothing above VQ_ENUM({name}) says what it is")
        elif kind == "TEXT":
            values.append(arguments)
        else:
            prefix = values[0][0]
            texts = f'The wire text is the name without "{prefix}".' if prefix else "The wire text is the name."
            if "URI" in name:
                texts += ' The first "_" is a ":" there.'
            yield (f"/** {told} {texts} @ingroup records */ enum {name} : std::int32_t {{ "
                   f"{', '.join(p + t for p, t in values)} }};")
            yield f"/** The wire texts of {name}. @ingroup records */ const TVqEnumInfo& VqEnumInfoOf({name}) noexcept;"


def member(kind, name, *rest):
    """The declarations of one member."""
    wire, rule = (rest[0], RULES.get(rest[-1], "")) if len(rest) > 1 else ("", "")
    value = {"DATE": "TDateTime", "TIME": "TDateTime", "BASE64": "string"}.get(kind, rest[1] if len(rest) > 1 else "")
    node = {"ATTRIBUTE": f"The attribute `{wire}`.", "ARRAY": f"The elements `{wire}`."}.get(kind, f"The element `{wire}`.")
    more = {"DATE": " A day.", "TIME": " A time of day.", "BASE64": " Base64 text.", "CHILD": " Made if missing; owned by this record.",
            "ARRAY": " Makes nothing; owned by this record.", "READONLY": " Read only.",
            "PART": " Setting writes into the contact around the complete name as well: servers take the parts of a name there alone."}
    told = f"/** {node} {rule}{more.get(kind, '')} */"
    if kind == "SELECTOR":
        return f"/** Which alternative is there; the first value when none is. */ {rest[0]} Get{name}() const;"
    if kind == "ENTRIES":
        return (f"/** The first element `{wire}` with this key; made, with its key, if there is none. */ {rest[1]}& Get{name}({rest[2]} AKey);"
                f"/** By position from 0. */ {rest[1]}& GetItem(std::int32_t AIndex) const;"
                f"/** Number of entries. */ std::int32_t Count() const;"
                f"/** All entries, to add to or delete from. */ TVqXMLSchemaElementArray<{rest[1]}>& GetEntries() const;")
    if kind == "CHILD":
        return f"{told} {value}& Get{name}() const;"
    if kind == "ARRAY":
        return f"{told} TVqXMLSchemaElementArray<{value}>& Get{name}() const;"
    getter = f"{told} {value} Get{name}() const;"
    argument = value if value == "TDateTime" and kind != "VALUE" else f"const {value}&"
    return getter if kind == "READONLY" else f"{getter} {told} void Set{name}({argument} AValue);"


def records(table):
    for kind, arguments in rows(table):
        if kind == "RECORD":
            name, base = arguments
            yield (f"/** A record of the schema. See TVqXMLSchemaElement for what it owns, costs and raises. @ingroup records */ "
                   f"class {name} : public {base} {{ public:"
                   f"/** A view over this element. */ explicit {name}(const IVqDOMElement& AElement) noexcept;"
                   f"/** The class at run time. */ static const TVqXMLSchemaClass& SchemaClass() noexcept;")
        elif kind == "END":
            yield "};"
        else:
            yield member(kind, *arguments)


def definitions(table, header):
    """The properties of a table, or the fields that its rows make: the header tells which."""
    family = re.search(r"uVqEWSProps(\w+)\.h", header)[1]
    fields = family.endswith("FLD")
    type_name = "TVqEWSFieldDef" if fields else "TVqEWSPropDef"
    for kind, (name, *rest) in rows(table):
        if kind in ("LONE_ID_PROP", "LONE_TAG_PROP") and fields:
            continue
        if kind.endswith(("ID_PROP", "NAMED_PROP", "TAG_PROP")):
            told = f"Of EPR_{name}." if family == "EFLD" else f"Of MPR_{name}." if fields else extended(kind, rest)
            name = f"{family}_{name}"
        elif kind == "INDEXED_FIELD":
            told = f"`{rest[0]}`, index `{rest[1]}`."
        else:
            told = f"`{rest[1] if kind == 'KEYED_PROP' else rest[0]}`."
        yield f"/** {told} @ingroup rows_{family} */ extern const {type_name} {name};"


def extended(kind, rest):
    if kind.endswith("TAG_PROP"):
        return f"Tag {rest[0]}, {rest[1][2:]}."
    return f"Name `{rest[1]}` in {rest[0]}, {rest[2][2:]}." if kind == "NAMED_PROP" else f"Id {rest[1]} in {rest[0]}, {rest[2][2:]}."


@functools.cache
def declarations(table, header):
    """What the inclusion of a table declares in this header."""
    if "MemberRows" in table or "PropTypes" in table:
        return ""  # overrides of what the interfaces document; enumerators that their enumeration tells of
    makers = {"Records": records, "Enumerations": enumerations, "FieldURIs": enumerations}
    maker = next((made for name, made in makers.items() if name in table), None)
    return "\n".join(maker(table) if maker else definitions(table, header))
