"""The list of changes that no test can notice. An entry is what the report shows of a change, and the reason:

  src/cache/Reader.cpp
  - the line as it is
  + the line with the change
  = the reason, on one line or several
"""

from mutation import changes


def read(path):
    """Reasons by (file, before, after)."""
    found, key = {}, None
    if not path.exists():
        return found
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        mark, text = line[:2], line[2:]
        if not line or line.startswith("#"):
            key = None
        elif key is None:
            key = [line]
        elif (mark, len(key)) in (("- ", 1), ("+ ", 2)):
            key.append(text)
        elif mark == "= " and len(key) == 3:
            found[tuple(key)] = " ".join(filter(None, (found.get(tuple(key)), text)))
        else:
            raise SystemExit(f"mutants: {path}:{number}: expected the file, then lines with -, + and =")
    return found


def key_of(change):
    return change.file, change.before, change.after


def outdated(known, tree, plan):
    """The entries for the plan's files that fit none of the changes of their file any more."""
    files = {change.file for change in plan}
    possible = {key_of(change) for file in files for change in changes.changes_of(tree, file)}
    return [key for key in known if (key[0] in files or not (tree / key[0]).exists()) and key not in possible]
