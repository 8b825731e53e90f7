"""The commands of a shell script, as far as their names stand in it: enough of bash's grammar for scripts like ours."""

import re

KEEPS_PLACE = {"if", "then", "elif", "else", "while", "until", "do", "!", "time", "{", "}", "fi", "done", "esac"}
# These are followed by words, not by commands.
TAKES_WORDS = {"for", "select", "case", "function"}
ASSIGNMENT = re.compile(r"[A-Za-z_]\w*(\[[^]]*\])?\+?=")
CLOSING = {"(": ")", "{": "}"}


class Script:
    """commands: [[word, ...]], those in substitutions included; functions: the names that the script defines."""

    def __init__(self, text):
        self.commands = []
        self.functions = set()
        self._text = text
        self._at = 0
        self._heredocs = []
        self._parse()

    def _parse(self):
        words = []
        patterns = 0  # how deep in "case", with a pattern due
        in_pattern = False

        def end():
            nonlocal words, in_pattern, patterns
            while words and words[0] in KEEPS_PLACE:
                if words[0] == "esac" and patterns:
                    patterns -= 1
                words = words[1:]
            if words and words[0] == "case":
                patterns += 1
                in_pattern = True
            elif words and words[0] not in TAKES_WORDS:
                self.commands.append(words)
            words = []

        while self._at < len(self._text):
            char = self._text[self._at]
            if in_pattern and not words:
                if self._text.startswith("esac", self._at):
                    in_pattern = False
                    continue
                if char == ")":
                    in_pattern = False
                self._word() if char in "'\"$" else self._skip(1)
            elif char == "\n":
                end()
                self._skip(1)
                self._skip_heredocs()
            elif char in ";&|":
                if char == "&" and self._text[self._at + 1:self._at + 2] == ">":
                    self._redirection()
                    continue
                end()
                in_pattern = in_pattern or (patterns > 0 and self._text.startswith(";;", self._at))
                self._skip(2 if self._text.startswith(";;", self._at) else 1)
            elif char.isspace() or self._text.startswith("\\\n", self._at):
                self._skip(2 if char == "\\" else 1)
            elif char == "#":
                self._at = (self._text.find("\n", self._at) + len(self._text) + 1) % (len(self._text) + 1)
            elif self._text.startswith("[[", self._at) and not self._words_of_command(words):
                self._condition()
            elif self._text.startswith("((", self._at):
                self._balanced("(")
            elif char in "()":
                if char == "(" and self._text[self._at + 1:self._at + 2] == ")" and len(words) == 1:
                    self.functions.add(words.pop())
                    self._skip(2)
                    continue
                end()
                self._skip(1)
            elif char in "<>" and self._text[self._at + 1:self._at + 2] != "(":
                self._redirection()
            else:
                word = self._word()
                if word.isdigit() and self._text[self._at:self._at + 1] in ("<", ">"):
                    continue
                if ASSIGNMENT.match(word) and not self._words_of_command(words):
                    continue
                words.append(word)
                if words[0] == "case" and word == "in":
                    end()
        end()

    @staticmethod
    def _words_of_command(words):
        return [word for word in words if word not in KEEPS_PLACE]

    def _skip(self, count):
        self._at += count

    def _skip_heredocs(self):
        for mark in self._heredocs:
            found = re.compile(rf"^\t*{re.escape(mark)}$", re.M).search(self._text, self._at)
            self._at = found.end() if found else len(self._text)
        self._heredocs = []

    def _redirection(self):
        operator = re.compile(r"&>>?|<<<|<<-?|[<>]+[&|]?").match(self._text, self._at).group()
        self._skip(len(operator))
        while self._text[self._at:self._at + 1] in (" ", "\t"):
            self._skip(1)
        target = self._word()
        if operator in ("<<", "<<-"):
            self._heredocs.append(target)

    def _condition(self):
        """[[ ... ]]: only what is substituted in there is a command."""
        while not self._text.startswith("]]", self._at):
            begun = self._at
            self._word()
            self._at = max(self._at, begun + 1)
        self._skip(2)

    def _balanced(self, opening):
        """The text between a bracket and its like; commands in it are its caller's affair."""
        begun, depth = self._at, 0
        while self._at < len(self._text):
            char = self._text[self._at]
            if char == "\\":
                self._skip(1)
            elif char == "'" and opening == "(":
                self._at = self._text.find("'", self._at + 1)
            elif char == opening:
                depth += 1
            elif char == CLOSING[opening]:
                depth -= 1
                if depth == 0:
                    self._skip(1)
                    return self._text[begun + 1:self._at - 1]
            self._skip(1)
        return self._text[begun + 1:]

    def _inner(self, text):
        inner = Script(text)
        self.commands += inner.commands
        self.functions |= inner.functions

    def _word(self):
        """One word without its quotes; "$" stands for what only a run could tell."""
        word, quoted = "", False
        while self._at < len(self._text):
            char = self._text[self._at]
            following = self._text[self._at + 1:self._at + 2]
            if char == '"':
                quoted = not quoted
                self._skip(1)
            elif char == "'" and not quoted:
                end = self._text.index("'", self._at + 1)
                word += self._text[self._at + 1:end]
                self._at = end + 1
            elif char == "\\":
                word += following
                self._skip(2)
            elif char == "$" and following == "(" or char in "<>" and following == "(" and not quoted:
                self._skip(1)
                arithmetic = self._text.startswith("((", self._at)
                inner = self._balanced("(")
                if not arithmetic:
                    self._inner(inner)
                word += "$"
            elif char == "$" and following == "{":
                self._skip(1)
                self._balanced("{")
                word += "$"
            elif char == "(" and word.endswith("=") and not quoted:
                self._inner("words " + self._balanced("("))
            elif not quoted and (char.isspace() or char in ";&|()<>"):
                break
            else:
                word += char
                self._skip(1)
        return word
