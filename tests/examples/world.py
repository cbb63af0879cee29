# SPDX-License-Identifier: MIT

"""A folder to run a program in, with its home, its Trash and its temporary folder."""

import os
import subprocess
import tempfile


class World:
    def __init__(self):
        self._folder = tempfile.TemporaryDirectory()
        self.path = self._folder.name
        for name in ("home", "temporary", "work"):
            os.mkdir(self.at(name), 0o700)
        self._describe("text", "plain", "plain text document")

    def _describe(self, media, subtype, description):
        """Versions of the shared MIME database differ in what they call a type."""
        folder = self.at("home", "data", "mime", media)
        os.makedirs(folder, 0o700)
        with open(os.path.join(folder, subtype + ".xml"), "w", encoding="utf-8") as file:
            file.write(f"<mime-type xmlns='http://www.freedesktop.org/standards/shared-mime-info' "
                       f"type='{media}/{subtype}'><comment>{description}</comment></mime-type>")

    def __enter__(self):
        return self

    def __exit__(self, error, *_):
        left = os.listdir(self.at("temporary"))
        self._folder.cleanup()
        assert error or not left, f"left in the temporary folder: {left}"

    def at(self, *names):
        return os.path.join(self.path, *names)

    def environment(self):
        return {"PATH": os.environ["PATH"], "TZ": "UTC", "LC_ALL": "C.UTF-8",
                "HOME": self.at("home"), "XDG_RUNTIME_DIR": self.at("home"),
                "XDG_DATA_HOME": self.at("home", "data"), "TMPDIR": self.at("temporary")}

    def run(self, *command, **options):
        """Runs it in the folder "work"; returns its exit code and both output streams."""
        result = subprocess.run(command, cwd=self.at("work"), env=self.environment(), timeout=120,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, encoding="utf-8", check=False, **options)
        return result.returncode, result.stdout, result.stderr
