"""Prints a public header as Doxygen wants to read it, so that the headers themselves stay plain.

A comment that stands directly above declarations documents all of them, up to the next empty line
or comment: a getter and its setter share one. The comment at the top of the file is the file's. A
comment "// Title -----" starts a topic, to which everything documented after it belongs. What is
indented in a comment, such as its `input => output` rows, is kept as it is.

Left out is what is private, and what nobody calls by name if it has no comment: deleted operations
and destructors.

Every line stays in its place, so that a warning of Doxygen's names the line of the header.
"""

import re
import sys

TITLE = re.compile(r"(.*\S) -{5,}$")
REMARK = re.compile(r"^(.*[,;])\s*// (.*)$")
SCOPE = re.compile(r"\s*(class|struct|union|namespace)\b.*\{$")
UNNAMED = re.compile(r"^.*= delete;$|^\s*(virtual )?~\w+\(\)( override)?;$")


class Filter:
    def __init__(self, lines):
        self.lines = lines
        self.output = []
        self.topic = None

    def run(self):
        line = 0
        # Doxygen asks for the documentation of what is in a file only once it is told of the file.
        if not self.end_of_comment(0):
            self.output.append(r"/** \file */")
            self.put_code(0)
            self.output = [" ".join(self.output)]
            line = 1
        while line < len(self.lines):
            end = self.end_of_comment(line)
            if self.lines[line].strip() == "private:":
                line = self.skip_private(line)
            elif end == line:
                self.put_code(line)
                line += 1
            elif self.is_blank(end):
                line = self.put_lone_comment(line, end)
            else:
                line = self.put_documented(line, end)
        return self.output

    def is_blank(self, line):
        return line >= len(self.lines) or not self.lines[line].strip()

    def end_of_comment(self, line):
        while line < len(self.lines) and self.lines[line].lstrip().startswith("//"):
            line += 1
        return line

    def text(self, line):
        return re.sub(r"^\s*// ?", "", self.lines[line])

    def append(self, text, line=-1):
        """Puts something behind a line that is there, so that it needs none of its own."""
        self.output[line] += f" {text}"

    def skip_private(self, line):
        """Goes on to the end of the class."""
        end_of_class = self.lines[line].replace(" private:", "};")
        while self.lines[line] != end_of_class:
            self.output.append("")
            line += 1
        return line

    def put_lone_comment(self, line, end):
        """A comment without a declaration: the file's, a topic's, or one about nothing below it."""
        title = TITLE.match(self.text(line))
        if line == 0:
            self.put_texts(line, end)
            self.output[0] = f"/** {self.output[0]}"
            self.output.append(r"\file */")
            return end + 1
        if title:
            self.topic = "topic_" + re.sub(r"\W+", "_", title[1].lower())
            self.output.append(rf"/** \defgroup {self.topic} {title[1]}")
            self.put_texts(line + 1, end)
            self.append("*/")
        else:
            self.output += self.lines[line:end]
        return end

    def put_documented(self, line, end):
        """A comment and what it documents: one declaration, or several that share it."""
        before = len(self.output) - 1
        self.put_texts(line, end)
        self.append("*/")
        count, end = self.put_declarations(end)
        if count > 1:
            self.append("/**@{*/", before)
            self.append("/**@}*/")
        self.append(rf"/** \ingroup {self.topic}" if self.topic else "/**", before)
        return end

    def put_texts(self, line, end):
        kept = self.kept_lines(line, end)
        while line < end:
            self.output.append(self.text(line))
            line += 1
            if line not in kept:
                continue
            first = line
            while line in kept:
                self.output.append(self.text(line))
                line += 1
            is_code = any(self.text(at).endswith((";", "{")) for at in range(first, line))
            self.append(r"\code{.cpp}" if is_code else r"\verbatim", first - line - 1)
            self.append(r"\endcode" if is_code else r"\endverbatim")

    def kept_lines(self, line, end):
        """The indented lines of a comment, but for those that go on with an item of a list."""
        kept = set()
        is_list = False
        for at in range(line, end):
            text = self.text(at)
            if text.startswith(" "):
                if not is_list:
                    kept.add(at)
            else:
                is_list = text.startswith("- ")
        # An empty line between two kept ones.
        return kept | {at for at in range(line, end)
                       if not self.text(at) and {at - 1, at + 1} <= kept}

    def put_declarations(self, line):
        """Those below a comment. Gives how many they are, and the line after them."""
        first = line
        depth = 0
        count = 0
        while depth > 0 or not (self.is_blank(line) or self.end_of_comment(line) > line):
            code = self.put_code(line, line == first).split("//")[0].rstrip()
            line += 1
            depth += code.count("{") - code.count("}")
            if depth < 0 or SCOPE.match(code):
                break
            count += not depth and code.endswith((";", "}"))
        return count, line

    def put_code(self, line, is_documented=False):
        code = self.lines[line]
        if UNNAMED.match(code) and not is_documented:
            code = ""
        remark = REMARK.match(code)
        self.output.append(f"{remark[1]}  ///< {remark[2]}" if remark else code)
        return self.output[-1]


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        print("\n".join(Filter(header.read().splitlines()).run()))


if __name__ == "__main__":
    main()
