"""The code that pages of the guide show, as files that can be built, and what they say it prints."""

import re
from pathlib import Path

DOCS = Path(__file__).resolve().parent.parent / "docs"

BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NAMED = re.compile(r"`([\w-]+(?:\.cpp|\.h|\.txt))`(?:(?!\n\n).)*\n\n```(?:cpp|cmake)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def blocks(page: str, *languages: str) -> list[str]:
    """Those in these languages, in their order."""
    return [text for language, text in BLOCK.findall((DOCS / page).read_text(encoding="utf-8"))
            if language in languages]


def files(page: str) -> dict[str, str]:
    """Those that the paragraph before names."""
    return dict(NAMED.findall((DOCS / page).read_text(encoding="utf-8")))


def growing_program(page: str) -> list[tuple[str, str]]:
    """A program as each step leaves it, and what it prints then. Each step adds to the end of main, and
    to what is printed."""
    program, printed, steps = "}\n", "", []
    for language, text in BLOCK.findall((DOCS / page).read_text(encoding="utf-8")):
        if language == "cpp":
            added = text if not steps else "\n" + text + "}\n"
            program = program.removesuffix("}\n") + added
            steps.append((program, printed))
        elif language == "text":
            printed += text
            steps[-1] = (program, printed)
    return steps
