"""Runs a program of Python's if the modules that it needs are installed, and says which one is not otherwise.

    run.py MODULE,MODULE ARGUMENTS...
"""

import importlib.util
import subprocess
import sys

missing = [name for name in sys.argv[1].split(",") if importlib.util.find_spec(name) is None]
if missing:
    print(f"Python's {', '.join(missing)} is not installed")
else:
    sys.exit(subprocess.run([sys.executable, *sys.argv[2:]]).returncode)
