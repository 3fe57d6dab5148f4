# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the scripts beside this folder, behind install.sh: the Python package, built and installed in an environment
# of its own below build/python. TEKO_PYTHON names another interpreter than python3.

python=${TEKO_PYTHON:-python3}

# hasPython: whether there is one that the package supports
hasPython() { "$python" -c 'import sys; sys.exit(sys.version_info < (3, 11))' 2>/dev/null; }

# canBuildWithPython: whether it can make environments, and has its headers
canBuildWithPython() {
    "$python" -c 'import ensurepip, pathlib, sysconfig, venv
assert (pathlib.Path(sysconfig.get_path("include")) / "Python.h").exists()' 2>/dev/null
}

# needPython: Debian's and Ubuntu's, where nothing else is there
needPython() {
    type -P "$python" >/dev/null || need python3
    hasPython || refuse "Python 3.11 or later is needed, and $python is older; TEKO_PYTHON=... names another one."
    canBuildWithPython || need python3-venv python3-dev
}

# enterEnvironment NAME: makes the environment of that name and of this interpreter's version where it is not there, with
# what python/requirements/NAME.txt asks for, and puts its commands first.
enterEnvironment() {
    local name=$1 version environment wanted
    version=$("$python" -c 'import sys; print("%d.%d" % sys.version_info[:2])')
    environment=$PWD/build/python/$name-$version
    wanted=$(cat python/requirements/*.txt)
    if [ "$(cat "$environment/wanted" 2>/dev/null)" != "$wanted" ]; then
        rm -rf "$environment"
        "$python" -m venv "$environment"
        quietly "$environment/bin/pip" install --disable-pip-version-check -r "python/requirements/$name.txt"
        printf '%s\n' "$wanted" >"$environment/wanted"
    fi
    export PATH=$environment/bin:$PATH
}

# testPackage TESTS: of the package that is installed where $PATH begins, without those of what needs zarr
testPackage() {
    python -m pytest -q -p no:cacheprovider --doctest-modules --ignore-glob='*/teko/zarr' \
        --ignore-glob='*/teko/numcodecs.py' --pyargs teko "$1"
}

# installPackage: builds the wheel, in a folder that is kept for the next time, and installs it
installPackage() {
    quietly pip install --disable-pip-version-check --no-build-isolation --no-deps --force-reinstall .
}
