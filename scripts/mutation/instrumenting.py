"""Writes every mutant beside the original, so that one build holds them all and a number chooses one at run time."""

# Included before everything else in each source.
HEADER = """\
#pragma once
namespace mutate {
extern "C" bool pellamMutantIsChosen(int number);
inline bool is(int number) { return pellamMutantIsChosen(number); }
// In functions that the compiler may evaluate, where nothing is mutated.
constexpr bool isNowOrNever(int number) { return __builtin_is_constant_evaluated() ? false : pellamMutantIsChosen(number); }
template <typename T>
T plus(int number, T value) { return is(number) ? static_cast<T>(value + 1) : value; }
template <typename T>
constexpr T plusNowOrNever(int number, T value) { return isNowOrNever(number) ? static_cast<T>(value + 1) : value; }
}
"""

# Linked into every program. The number and the list of what was reached are files, not variables of the environment: a
# program that starts another one with an environment of its own is mutated all the same.
SOURCE = """\
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>
static int chosen = -1;
static int trace = -1;
static unsigned char seen[1 << 23];  // 4,096 files with 2,048 mutants each
static void begin() {
  int number = 0;
  if (FILE* file = fopen(FOLDER "/chosen", "re")) {
    if (fscanf(file, "%d", &number) != 1) number = 0;
    fclose(file);
  }
  trace = open(FOLDER "/reached", O_WRONLY | O_APPEND | O_CLOEXEC);
  __atomic_store_n(&chosen, number, __ATOMIC_RELEASE);
}
extern "C" __attribute__((visibility("default"))) bool pellamMutantIsChosen(int number) {
  if (__atomic_load_n(&chosen, __ATOMIC_ACQUIRE) < 0) begin();
  if (trace >= 0 && !__atomic_exchange_n(&seen[number], 1, __ATOMIC_RELAXED)) {
    char line[16];
    const int length = snprintf(line, sizeof line, "%d\\n", number);
    if (write(trace, line, static_cast<unsigned long>(length)) < 0) return number == chosen;
  }
  return number == chosen;
}
"""


def instrument(source, mutants, alone=None):
    """The source with each mutant beside its original. `alone` is written in place of its original instead."""
    edits = []
    replaced = set()
    for mutant in mutants:
        if mutant is alone:
            continue
        order, pieces = mutant.edit
        pieces = tuple(piece.replace("@", str(mutant.number)) if isinstance(piece, str) and "@" in piece else piece for piece in pieces)
        if mutant.kind == "arguments":
            # Each argument by itself: the second may be the first of the next pair, and edits can only be nested.
            for (copy, _, own) in (pieces[1:4], pieces[5:8]):
                edits.append((*own, order, (pieces[0], copy, " : ", own, ")")))
        else:
            edits.append((mutant.start, mutant.end, order, pieces))
        if mutant.also:
            replaced.add(mutant.also)
    edits += [(start, end, -1, (text,)) for start, end, text in replaced]
    if alone is not None:
        edits = [edit for edit in edits if not (alone.start <= edit[0] and edit[1] <= alone.end)]
        edits.append((alone.start, alone.end, 9, (alone.replacement,)))
    edits.sort(key=lambda edit: (edit[0], -edit[1], edit[2]))
    return render(source, 0, len(source), edits)


def render(source, start, end, edits):
    out, position, index = [], start, 0
    while index < len(edits):
        begin, stop, _, pieces = edits[index]
        last = index + 1
        while last < len(edits) and edits[last][0] < stop:
            last += 1
        inside = [edit for edit in edits[index + 1:last] if edit[1] <= stop]
        out.append(source[position:begin])
        for piece in pieces:
            if isinstance(piece, str):
                out.append(piece.encode())
            else:
                text = render(source, *piece[:2], [edit for edit in inside if piece[0] <= edit[0] and edit[1] <= piece[1]])
                # A copy takes no lines, so that the compiler's line numbers are the source's.
                out.append(text.replace(b"\n", b" ") if len(piece) > 2 else text)
        position, index = stop, last
    out.append(source[position:end])
    return b"".join(out)
