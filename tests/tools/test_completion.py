"""Each shell completes every subcommand of quillorne-tools, every long option and every listed value of its help."""

import os
import re
import subprocess
import tempfile
import unittest

folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../packaging/completion")
tools = os.environ["QUILLORNE_TOOLS"]

# Each prints what is proposed for the last of the words that follow.
shells = {
    "bash": ["bash", "-c", """. "$1/quillorne-tools.bash"; shift; COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
             _quillorne_tools; printf '%s\\n' "${COMPREPLY[@]}" """],
    "zsh": ["zsh", "-f", "-c", """compadd() { shift; print -l -- "$@" }; _files() { }
            complete_it() { source $folder/_quillorne-tools }
            folder=$1; shift; words=("$@") CURRENT=$#; complete_it"""],
    "fish": ["fish", "--no-config", "-c", """source $argv[1]/quillorne-tools.fish
             complete --do-complete (string join -- ' ' $argv[2..-1]) | cut -f 1"""],
}


def propose(shell, *words):
    with tempfile.TemporaryDirectory() as empty:
        environment = dict(os.environ, PATH=os.path.dirname(tools) + ":" + os.environ["PATH"], HOME=empty)
        separator = {"bash": ["-"], "zsh": ["-"], "fish": []}[shell]
        result = subprocess.run([*shells[shell], *separator, folder, "quillorne-tools", *words], cwd=empty, text=True,
                                env=environment, capture_output=True, timeout=60, check=True)
    return set(result.stdout.split())


def print_help(*words):
    return subprocess.run([tools, *words, "--help"], env=dict(os.environ, LC_ALL="C"), capture_output=True, text=True,
                          check=True).stdout


class Completion(unittest.TestCase):
    def test_all_that_help_lists(self):
        subcommands = re.findall(r"^  (\w+)", print_help().partition("\nSubcommands:\n")[2], re.M)
        self.assertIn("prepare", subcommands)
        for shell in shells:
            with self.subTest(shell=shell):
                self.assertEqual(propose(shell, ""), set(subcommands))
                self.assertEqual(propose(shell, "--v"), {"--version"} if shell != "zsh" else {"--help", "--version"})
            for subcommand in subcommands:
                text = print_help(subcommand)
                with self.subTest(shell=shell, subcommand=subcommand):
                    listed = set(re.findall(r"^[ ]+(?:-\w,)?(--[\w-]+)", text, re.M))
                    self.assertIn("--help", listed)
                    self.assertEqual(propose(shell, subcommand, "--"), listed)
                for option, values in re.findall(r"(--\w+) TEXT:{(.*?)}", text):
                    with self.subTest(shell=shell, subcommand=subcommand, option=option):
                        self.assertEqual(propose(shell, subcommand, option, ""), set(values.split(",")))


if __name__ == "__main__":
    unittest.main()
