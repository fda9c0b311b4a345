"""The README's Python example, run as written."""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def test_the_readme_backup_example_prints_the_changed_range(tmp_path):
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
        text = readme.read()
    example = re.search(r"The road of an incremental backup, in `backup.py`:\n\n```python\n(.*?)```",
                        text, re.S).group(1)
    expected = re.search(r"It prints `([^`]*)`", text).group(1)
    script = tmp_path / "backup.py"
    script.write_text(example, encoding="utf-8")
    environment = dict(os.environ)
    if os.environ.get("QUORVANE_PYTHON_INSTALLED") != "1":
        environment["PYTHONPATH"] = os.path.join(ROOT, "bindings", "python")
    result = subprocess.run([sys.executable, str(script)], env=environment, capture_output=True,
                            text=True, check=True)
    assert result.stdout.strip() == expected
