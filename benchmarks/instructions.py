"""instructions.py PROGRAM RECORD [--record]: counts the instructions of each operation under
Valgrind and holds them against the record, or writes the record anew. Unlike time, they are the
same on a busy machine."""

import json
import re
import subprocess
import sys
import tempfile

FEW, MANY = 20_000, 120_000
TOLERANCE = 0.05


def instructions(program: str, operation: str, count: int) -> int:
    with tempfile.NamedTemporaryFile() as output:
        run = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={output.name}",
                              program, operation, str(count)],
                             capture_output=True, text=True, check=True)
    found = re.search(r"Collected : (\d+)", run.stderr)
    if found is None:
        sys.exit(f"instructions.py: valgrind told no figure:\n{run.stderr}")
    return int(found.group(1))


def cost(program: str, operation: str) -> float:
    """Per operation; what start and end of the program take falls out."""
    more = instructions(program, operation, MANY) - instructions(program, operation, FEW)
    return more / (MANY - FEW)


def main() -> None:
    program, record_path = sys.argv[1:3]
    with open(record_path, encoding="utf-8") as file:
        record = json.load(file)
    measured = {operation: round(cost(program, operation), 1) for operation in record}
    if "--record" in sys.argv:
        with open(record_path, "w", encoding="utf-8") as file:
            json.dump(measured, file, indent=4)
            file.write("\n")
    exceeded = False
    print(f"{'instructions per':<27} {'measured':>9} {'record':>9}")
    for operation, count in measured.items():
        verdict = ""
        if count > record[operation] * (1 + TOLERANCE):
            exceeded = True
            verdict = f"over {TOLERANCE:.0%} more than the record"
        print(f"{operation:<27} {count:>9.1f} {record[operation]:>9.1f} {verdict}".rstrip())
    if exceeded and "--record" not in sys.argv:
        sys.exit("instructions.py: mend what costs more, or record it where it is worth it: "
                 "scripts/bench --record")


if __name__ == "__main__":
    main()
