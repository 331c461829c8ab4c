"""What the scripts in Python share: where things are, commands, and the results that gates leave."""
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
DRIVER_FOLDERS = ("core", "protocol", "services", "symbols", "values", "vars")


class CommandFailed(Exception):
    """A command that should have worked did not; the text is what it said."""


def run(*command, **options):
    """Answers what the command printed."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise CommandFailed(f"{command[0]} answered {done.returncode}: {(done.stderr or done.stdout).strip()[-4000:]}")
    return done.stdout


def git(*arguments):
    return run("git", *arguments, cwd=ROOT).strip()


def has_changes(*paths):
    """Whether anything differs from the last commit, below `paths` or anywhere."""
    return bool(git("status", "--porcelain", "--", *paths))


def install(*groups):
    """Installs what is missing of these groups of packages (scripts/install-deps)."""
    subprocess.run([ROOT / "scripts/install-deps", *groups], check=True)


def result_file(gate):
    return ROOT / f"build/{gate}-result.txt"


def begin_gate(gate, planned=1):
    """Until end_gate so many failures stand in the result, which counts if the run is cut off."""
    result_file(gate).parent.mkdir(parents=True, exist_ok=True)
    result_file(gate).write_text(f"0 {planned}\n")


def end_gate(gate, passed, failed):
    """Leaves what ./test adds up; answers the exit code."""
    result_file(gate).write_text(f"{passed} {failed}\n")
    return 1 if failed else 0


def read_result(file):
    """(passed, failed); a gate that left nothing has failed."""
    try:
        passed, failed = file.read_text().split()
        return int(passed), int(failed)
    except (OSError, ValueError):
        return 0, 1
