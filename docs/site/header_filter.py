"""What Doxygen reads of a header: its comments, written for those who read them as text.

A paragraph that is set in by three blanks is a list of arguments when each of its lines begins with
names and two blanks, and otherwise a piece of code or a formula. The first comment is about the file.
Nobody writes the inline namespace of the version.
"""

import re
import sys

NAMES = r"(the others|[A-Za-z_][A-Za-z0-9_]*(?:, ?[A-Za-z_0-9]+)*)"
ARGUMENT = re.compile(rf"( +\*  ) {NAMES}  +(\S.*)")
SET_IN = re.compile(r"( +\*)   ( *)(\S.*)")
VERSION = re.compile(r"inline namespace v1 \{|\}  // namespace v1")


def shown(paragraph):
    """The lines of a paragraph that is set in."""
    heads = [line for line in paragraph if not SET_IN.fullmatch(line)[2]]
    if all(ARGUMENT.fullmatch(line) for line in heads):
        return [ARGUMENT.sub(r"\1- <b>\2</b> \3", line) for line in paragraph]
    margin = SET_IN.fullmatch(paragraph[0])[1]
    return [f"{margin} @code{{.unparsed}}", *paragraph, f"{margin} @endcode"]


def main(path):
    with open(path, encoding="utf-8") as stream:
        lines = [line for line in stream.read().splitlines() if not VERSION.fullmatch(line)]
    result, paragraph = [], []
    for number, line in enumerate(lines):
        if SET_IN.fullmatch(line):
            paragraph.append(line)
            continue
        if paragraph:
            result += shown(paragraph)
            paragraph = []
        result.append(line)
        if number == 0 and line == "/**":
            result.append(" * @file")
    print("\n".join(result))


main(sys.argv[1])
