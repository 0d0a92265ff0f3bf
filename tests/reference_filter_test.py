"""What Doxygen is given of a header: whose each comment is, and what is said of names by themselves."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

FILTER = pathlib.Path(__file__).resolve().parent.parent / "docs/reference/filter"


def filtered(text, name="Lamp"):
    with tempfile.TemporaryDirectory() as folder:
        header = pathlib.Path(folder, f"{name}.h")
        header.write_text(text)
        return subprocess.run([sys.executable, FILTER, header], check=True, capture_output=True, text=True).stdout


def members(text):
    """Of a class in a header."""
    opened = "// Shines.\n#pragma once\n\nnamespace Zin {\nclass Lamp {\npublic:\n"
    return filtered(f"{opened}{text}}};\n}}  // namespace Zin\n").split("public:\n")[1].split("};\n")[0]


class Filter(unittest.TestCase):
    def test_the_first_comment_is_that_of_the_class_of_the_header(self):
        self.assertEqual(filtered("// Shines.\n#pragma once\nnamespace Zin {\nclass Lamp final : public Entity {\n};\n}\n"),
                         "/// \\class Zin::Lamp\n/// Shines.\nnamespace Zin {\nclass Lamp final : public Entity {\n};\n}\n")

    def test_or_that_of_the_header(self):
        self.assertEqual(filtered("// Shine.\n#pragma once\nclass Bulb {\n};\n"),
                         "/// \\file\n/// Shine.\nclass Bulb {\n};\n")

    def test_pictures_stay_as_they_are(self):
        self.assertEqual(filtered("// One:\n//\n//   a --> <b>\n//\n// Two.\n#pragma once\n").rstrip(),
                         "/// \\file\n/// One:\n/// \\verbatim\n///   a --> <b>\n/// \\endverbatim\n/// Two.")

    def test_a_comment_is_of_the_declarations_right_below_it(self):
        self.assertEqual(members("    // Watts, <60>.\n    int power();\n    int force() {\n        return 1;\n    }\n\n"
                                 "    int none();\n"),
                         "    /// Watts, \\<60\\>.\n    int power();\n    /** Watts, \\<60\\>. */ int force() {\n"
                         "        return 1;\n    }\n\n    int none();\n")

    def test_a_comment_at_the_end_of_a_line_is_of_that_line(self):
        self.assertEqual(members("    int power = 0;  // watts\n"), "    int power = 0;  ///< watts\n")

    def test_what_is_named_alike_is_described_by_its_name(self):
        self.assertEqual(members("    bool bulbHas(int key);\n    int power() const { return power_; }\n"),
                         "    /** Whether <tt>bulb</tt> has it. */ bool bulbHas(int key);\n"
                         "    /** Its <tt>power</tt>. */ int power() const { return power_; }\n")

    def test_formatters_are_left_out(self):
        self.assertEqual(filtered("#pragma once\ntemplate <>\nstruct fmt::formatter<Lamp> {\n    int x;\n};\nint y;\n"),
                         "/// \\file\n\n\n\n\nint y;\n")


if __name__ == "__main__":
    unittest.main()
