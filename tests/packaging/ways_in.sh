#!/usr/bin/env bash
# The ways into a machine other than `cmake --install`: as a part of another project, by pip, as Debian packages, and
# into the default prefix.
#
#   ways_in.sh SOURCE BUILD LIBRARY
set -euo pipefail
source=$1 build=$2 library=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
python=/usr/bin/python3
fail() {
    echo "$1"
    exit 1
}
logged() {
    "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log"; fail "failed: $*"; }
}

echo "== a part of another project"
logged cmake -S "$source/tests/packaging/subproject" -B "$scratch/parent" -DORAVO_SOURCE_DIR="$source" \
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_TIFF=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON

enhance='import importlib.metadata as m, oravo_superres as s, sys
with s.Session(16, 12): print(m.version("oravo-superres"), s.__version__, s._native.library()._name)
print(*sorted(k + v.translate({ord(c): None for c in " ()"}) for k, v in m.metadata("oravo-superres").items() if k in
              ("Name", "Version", "Summary", "Requires-Python", "Requires-Dist")), sep="\n", file=sys.stderr)'

if "$python" -c 'import setuptools, wheel, numpy, pip' 2>/dev/null; then
    echo "== pip"
    mkdir "$scratch/tree"
    cp -r "$source/pyproject.toml" "$source/setup.py" "$source/python" "$scratch/tree"
    ORAVO_SUPERRESOLUTION_LIBRARY=$library logged "$python" -m pip install --no-index --no-deps --no-build-isolation \
        --disable-pip-version-check --root-user-action=ignore --target "$scratch/pip" "$scratch/tree"
    used=$(env -u ORAVO_SUPERRESOLUTION_LIBRARY PYTHONPATH="$scratch/pip" \
        "$python" -c "$enhance" 2>"$scratch/by_pip") || { cat "$scratch/by_pip"; exit 1; }
    echo "$used"
    [[ $used == *"$scratch/pip/oravo_superres/"* ]] || fail "the package did not bring its library"
else
    echo "== no pip, setuptools, wheel or NumPy for $python: not tried"
fi

echo "== the default prefix"
logged env DESTDIR="$scratch/root" cmake --install "$build" --component python
installed=$(find "$scratch/root" -name oravo_superres -printf '%h\n')
installed=${installed#"$scratch/root"}
if "$python" -c 'import sys; sys.exit("/usr/lib/python3/dist-packages" not in sys.path)'; then
    "$python" -c 'import sys; sys.exit(sys.argv[1] not in sys.path)' "$installed" ||
        fail "$python does not look in $installed"
fi

if command -v dpkg-shlibdeps >/dev/null; then
    echo "== Debian packages"
    # Nothing depends on the time: the second run differs in it.
    for run in one two; do
        mkdir "$scratch/$run"
        (
            cd "$build"
            SOURCE_DATE_EPOCH=$("$source/scripts/package.sh" --date) logged cpack -G DEB -B "$scratch/$run"
        )
        rm -rf "$scratch/$run/_CPack_Packages"
    done
    (cd "$scratch/one" && for package in *.deb; do cmp "$package" "../two/$package"; done)
    cd "$scratch/one"
    [ "$(ls -- *.deb | wc -l)" -ge 3 ] || fail "packages are missing: $(ls)"
    for package in *.deb; do dpkg-deb -f "$package" Description | sed -n 1p; done | sort >"$scratch/synopses"
    cat "$scratch/synopses"
    [ -z "$(uniq -d "$scratch/synopses")" ] || fail "packages share a synopsis"
    for package in *dev*.deb python3*.deb; do
        # Each relation with a lower bound has a twin with an upper one; an exact one is both.
        dpkg-deb -f "$package" Depends | tr ',' '\n' | sed 's/^ *//' >"$scratch/depends"
        for name in $(sed -n 's/ (>= .*//p' "$scratch/depends"); do
            grep -qF "$name (<< " "$scratch/depends" || fail "$package: no upper bound for $name"
        done
    done
    dpkg-deb -x python3*.deb "$scratch/python"
    if [ -s "$scratch/by_pip" ]; then
        PYTHONPATH=$(echo "$scratch"/python/usr/lib/python3*/dist-packages) ORAVO_SUPERRESOLUTION_LIBRARY=$library \
            "$python" -c "$enhance" 2>"$scratch/by_apt" >/dev/null
        diff "$scratch/by_pip" "$scratch/by_apt"
    fi
else
    echo "== no dpkg-dev: Debian packages were not made"
fi
