"""What each source takes from the C++ library must be included by it or by a header of ours that it includes. The
two libraries that the system is built with include different headers of their own in passing, so that a forgotten
line is noticed on one system alone."""
import re

_HEADERS = {
    "algorithm": "sort stable_sort find_if any_of all_of none_of transform clamp lower_bound equal max_element",
    "array": "array to_array",
    "atomic": "atomic atomic_bool atomic_flag",
    "charconv": "from_chars to_chars",
    "chrono": "chrono",
    "condition_variable": "condition_variable",
    "deque": "deque",
    "exception": "exception_ptr current_exception make_exception_ptr rethrow_exception",
    "filesystem": "filesystem",
    "fstream": "ifstream ofstream",
    "functional": "function",
    "future": "future promise",
    "limits": "numeric_limits",
    "list": "list",
    "map": "map multimap",
    "memory": "unique_ptr shared_ptr weak_ptr make_unique make_shared enable_shared_from_this",
    "mutex": "mutex lock_guard unique_lock scoped_lock recursive_mutex call_once once_flag",
    "optional": "optional nullopt",
    "regex": "regex",
    "set": "set multiset",
    "span": "span",
    "sstream": "ostringstream istringstream stringstream",
    "stdexcept": "invalid_argument runtime_error logic_error out_of_range",
    "string": "string to_string stoi u16string u32string",
    "string_view": "string_view u16string_view",
    "system_error": "system_error error_code generic_category",
    "thread": "thread",
    "unordered_map": "unordered_map",
    "unordered_set": "unordered_set",
    "variant": "variant get_if visit holds_alternative monostate",
    "vector": "vector",
}
# Where one header promises the contents of another.
_ALSO = {"string_view": {"string"}, "exception": {"future"}}
_HOME = {name: header for header, names in _HEADERS.items() for name in names.split()}


def _without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"", '""', text, flags=re.S)


def problems(root, sources):
    """Sources are (name, text) pairs, headers of ours among them; names are relative to the root."""
    texts = dict(sources)
    own, included = {}, {}
    for name, text in texts.items():
        name = name.removeprefix("include/")
        included[name] = re.findall(r'^\s*#\s*(?:include|import)\s*"([^"]+)"', text, re.M)
        own[name] = set(re.findall(r"^\s*#\s*(?:include|import)\s*<(\w+)>", text, re.M))

    def reached(name, seen):
        if name in seen:
            return set()
        seen.add(name)
        if name not in own:
            path = next((path for path in (root / name, root / "include" / name) if path.exists()), None)
            if path is None:
                return set()
            text = path.read_text()
            included[name] = re.findall(r'^\s*#\s*(?:include|import)\s*"([^"]+)"', text, re.M)
            own[name] = set(re.findall(r"^\s*#\s*(?:include|import)\s*<(\w+)>", text, re.M))
        return own[name].union(*(reached(other, seen) for other in included[name]))

    lines = []
    for name, text in sources:
        here = reached(name.removeprefix("include/"), set())
        needed = {_HOME[word]: word for word in re.findall(r"\bstd::(\w+)", _without_comments(text)) if word in _HOME}
        lines += [f"{name}: error: std::{word} without <{header}>" for header, word in sorted(needed.items())
                  if header not in here and not here & _ALSO.get(header, set())]
    return lines
