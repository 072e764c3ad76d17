"""Every method that an @implementation defines must be declared somewhere: in a system class or protocol, or in an
interface of ours. The compiler accepts a misspelt optional delegate method in silence; the system then never calls
it."""
import re

_METHOD = r"(?:^|[\s@;}])[-+]\s*\([^{;]*?\)\s*((?:\w[^{;]*))"


def _without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def _selector(declaration):
    while (shorter := re.sub(r"\([^()]*\)", "", declaration)) != declaration:
        declaration = shorter
    parts = re.findall(r"(\w+)\s*:", declaration)
    return "".join(part + ":" for part in parts) or re.match(r"\s*(\w+)", declaration).group(1)


def _selectors(body, end):
    return [_selector(match.group(1)) for match in re.finditer(_METHOD + end, body)]


def declared(text):
    """The selectors that the interfaces and protocols of a text declare, accessors of properties included."""
    found = set()
    for block in re.finditer(r"@(?:interface|protocol)\b(.*?)@end", _without_comments(text), re.S):
        found.update(_selectors(block.group(1), ";"))
        for declaration in re.findall(r"@property\s*(?:\([^)]*\))?\s*([^;]*);", block.group(1)):
            plain = re.sub(r"API_MAC.*|__attribute__.*", "", declaration, flags=re.S).strip()
            name = re.search(r"\(\^\s*(?:\w+\s)?(\w+)\)", plain) or re.search(r"(\w+)$", plain)
            if name:
                found.update((name.group(1), f"set{name.group(1)[0].upper()}{name.group(1)[1:]}:"))
    return found


def problems(headers, sources):
    """One line for each defined method that nothing declares. Sources are (name, text) pairs."""
    known = set()
    for header in headers:
        known |= declared(header.read_text())
    for _, text in sources:
        known |= declared(text)
    lines = []
    for name, text in sources:
        for block in re.finditer(r"@implementation\b(.*?)@end", _without_comments(text), re.S):
            lines += [f"{name}: error: the method '{selector}' is declared nowhere"
                      for selector in _selectors(block.group(1), r"\{") if selector not in known]
    return lines
