"""The package from the checkout and the library from the build, unless the caller says."""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))

if os.environ.get("QUORVANE_PYTHON_INSTALLED") != "1":
    sys.path.insert(0, os.path.join(ROOT, "bindings", "python"))
os.environ.setdefault("QUORVANE_LIBRARY_DIR", os.path.join(ROOT, "build", "src"))
