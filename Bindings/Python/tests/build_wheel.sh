#!/usr/bin/env bash
# Builds the wheel without a network, and uses what is in it, unpacked into a folder of its own.
#
#   build_wheel.sh PYTHON VERSION LIBRARY_FOLDER
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
python=$1 version=$2 library=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The build writes beside its source.
mkdir "$work/source"
cp -r "$source/keldmorv" "$source/pyproject.toml" "$source/README.md" "$work/source"
rm -rf "$work/source/keldmorv/__pycache__"
cd "$work"
PIP_NO_INDEX=1 PIP_DISABLE_PIP_VERSION_CHECK=1 "$python" -m pip wheel --quiet --no-build-isolation --no-deps \
    --wheel-dir wheels ./source
wheel=wheels/keldmorv-$version-py3-none-any.whl
[ -f "$wheel" ] || { echo "the wheel is not of version $version:" wheels/*; exit 1; }
"$python" -m zipfile -e "$wheel" site
[ -f site/keldmorv/py.typed ]
LD_LIBRARY_PATH=$library PYTHONPATH=site "$python" -I -c "
import sys
sys.path.insert(0, 'site')
import keldmorv
assert keldmorv.__file__.endswith('/site/keldmorv/__init__.py'), keldmorv.__file__
try:
    keldmorv.Session('/nowhere')
except keldmorv.StartError:
    print('built, unpacked, loaded')
"
