"""Rules of this code that no compiler knows."""

import re
from pathlib import Path

# What std::filesystem does to files. Windows's own C run-time, which the program uses, does not understand a path with
# the prefix \\?\: status, remove, file_size and the others do nothing and answer "not found" without an error.
FILESYSTEM = re.compile(r"""
    std::filesystem(?!::(?:path|filesystem_error)\b)   # whatever is named so; an alias or a using of it, too
    | (?<![\w:.>])(?:remove_all|file_size|copy_file|create_director(?:y|ies)|is_(?:directory|regular_file|symlink)|
                     last_write_time|(?:weakly_)?canonical|resize_file|symlink_status)\s*\(   # found by its argument
    """, re.VERBOSE)
FILESYSTEM_RULE = ("error: of std::filesystem only path and filesystem_error are used: to the run-time's operations a "
                   "path that begins with \\\\?\\ is not there; libkelvane/FileUtilities.h has others")

COMMENT_OR_TEXT = re.compile(r'//.*|"(?:\\.|[^"\\])*"')


def broken_rules(source):
    for number, line in enumerate(Path(source).read_text(encoding="utf-8").splitlines(), 1):
        use = FILESYSTEM.search(COMMENT_OR_TEXT.sub("", line))
        if use:
            yield f"{source}:{number}:{use.start() + 1}: {FILESYSTEM_RULE}\n"
