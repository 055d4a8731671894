"""Instruction counts of the emulated powerpc: exact, and the same in every run."""
import os
import pathlib
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
EMULATOR = ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"]
TABLE = ROOT / "bench/counts.txt"
TOLERANCE = 0.05


def plugin(folder):
    """Compiles the counting plugin of the emulator into a folder."""
    made = pathlib.Path(folder) / "counter.so"
    subprocess.run(["gcc", "-O2", "-shared", "-fPIC", ROOT / "bench/counter.c", "-o", made], check=True)
    return made


def run(program, names, **options):
    # An environment of a fixed size: it lies on the guest's stack.
    return subprocess.run([*EMULATOR, *options.pop("emulator", []), program, *names], check=True, text=True,
                          stdout=subprocess.PIPE, env={"PATH": os.environ["PATH"]}, **options).stdout.split("\n")[:-1]


def names_of(program):
    """The names of all rows: OPERATION/SIZE/LIBRARY."""
    return run(program, ["--list"])


def count(program, names):
    """The instructions that one run of each operation takes, and the units that it handles: {name: (count, units)}. Rows
    of peers are left out where they fail: big-endian machines are not everybody's."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "out"
        lines = run(program, names, emulator=["-plugin", f"{plugin(folder)},out={out}"])
        counts = [int(line) for line in out.read_text().split()]
    if len(counts) != len(lines):
        raise SystemExit(f"{len(lines)} operations, but {len(counts)} counts")
    found = {name: (total, int(units)) for (name, units), total in zip(map(str.split, lines), counts)}
    missing = [name for name in names if name.endswith("/sealkit") and name not in found]
    if missing:
        raise SystemExit(f"not counted: {', '.join(missing)}")
    return found


def compiler():
    return subprocess.run(["powerpc-linux-gnu-g++", "-dumpfullversion"], check=True, text=True,
                          stdout=subprocess.PIPE).stdout.strip()


def read_table():
    """The committed table: the compiler that its counts are of, and {name: count}."""
    lines = [line for line in TABLE.read_text().splitlines() if line and not line.startswith("#")]
    made_with = lines[0].split()[1]
    return made_with, {name: int(total) for name, total in (line.split() for line in lines[1:])}


def renew(program):
    """Writes the table anew, with the same rows."""
    _, rows = read_table()
    counts = count(program, [name + "/sealkit" for name in rows])
    head = [line for line in TABLE.read_text().splitlines() if line.startswith("#")]
    width = max(map(len, rows))
    TABLE.write_text("\n".join(head + [f"{'g++':{width}} {compiler()}"] + [
        f"{name:{width}} {counts[name + '/sealkit'][0]}" for name in rows]) + "\n")


def check(program):
    """Compares with the table. Returns whether every row is within its limit."""
    made_with, rows = read_table()
    if compiler() != made_with:
        print(f"the table holds for g++ {made_with}; this is {compiler()}: nothing to compare")
        return True
    counts = count(program, [name + "/sealkit" for name in rows])
    good = True
    for name, expected in rows.items():
        found = counts[name + "/sealkit"][0]
        change = found / expected - 1
        if abs(change) <= TOLERANCE:
            continue
        good = good and change < 0
        print(f"{name}: {found} instructions, {change:+.1%} of {expected} in bench/counts.txt"
              f"{'' if change > 0 else ': renew the table'}")
    print(f"{len(rows)} rows counted" if good else "a change made these slower; if that is intended, see bench/README.md")
    return good
