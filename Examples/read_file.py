"""Prints a file of a release: read_file.py RELEASE_DIRECTORY PATH"""

import shutil
import sys

import keldmorv

with keldmorv.Session(sys.argv[1]), keldmorv.open(sys.argv[2], "rb") as file:
    shutil.copyfileobj(file, sys.stdout.buffer)
