"""Prints where a Python module is installed for the prefix given as the
argument, relative to it: the first directory of the interpreter's path
(the user's site directory included) under PREFIX/lib, so that the installed
module imports without PYTHONPATH; else the interpreter's site-packages
layout under the prefix."""
import os
import site
import sys
import sysconfig

prefix = os.path.normpath(sys.argv[1])
for entry in sys.path + [site.getusersitepackages()]:
    relative = os.path.relpath(os.path.normpath(entry or "."), prefix)
    if relative.startswith("lib" + os.sep) and relative.endswith("-packages"):
        print(relative)
        break
else:
    paths = {"base": prefix, "platbase": prefix}
    print(os.path.relpath(sysconfig.get_path("platlib", "posix_prefix", vars=paths), prefix))
