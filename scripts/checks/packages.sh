#!/usr/bin/env bash
# the Debian packages please lintian and work in a clean Debian 12 root: they are installed by apt, used (program,
# NumPy package, hosts in C and C++), and removed without a trace
#
#   scripts/checks/packages.sh
#
# The clean root needs the rights of root, without which lintian's part is all. It comes from the mirror that this
# machine's apt takes Debian 12 from, or from ORAVO_DEBIAN_MIRROR; ORAVO_CLEAN_ROOT may name one to copy instead.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
packages=$root/out/packages
release=bookworm

need_packages lintian
"$root/scripts/package.sh" "$packages"

echo "== lintian"
# The packages are not on their way into Debian: no bug report waits for them.
lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb

echo "== pip install ."
need_packages python3-pip python3-setuptools python3-wheel python3-numpy git
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/tree"
(cd "$root" && tracked_files | xargs -0 cp --parents -t "$work/tree")
(cd "$work/tree" && /usr/bin/python3 -m pip install --no-index --no-deps --no-build-isolation --root-user-action=ignore \
    --disable-pip-version-check --target "$work/pip" . >"$work/log" 2>&1) || { tail -n 30 "$work/log"; exit 1; }
(cd "$work" && PYTHONPATH=$work/pip /usr/bin/python3 -c 'import oravo_superres as s
with s.Session(16, 12): print(s.__version__, s._native.library()._name)')

if [ "$(id -u)" -ne 0 ]; then
    echo "== not root: the packages were not installed"
    exit 0
fi
need_packages debootstrap
clean=$(mktemp -d)
chmod 755 "$clean"  # it is the root folder of users other than root, too
mounted=0
finish() {
    if [ "$mounted" -eq 1 ]; then umount "$clean/proc"; fi
    rm -rf --one-file-system "$clean" "$work"
}
trap finish EXIT

machines_mirror() {
    local mirrors
    mirrors=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $release" | grep -E '^https?:') ||
        mirrors=http://deb.debian.org/debian
    echo "${mirrors%%$'\n'*}"
}

if [ -n "${ORAVO_CLEAN_ROOT:-}" ]; then
    echo "== copying $ORAVO_CLEAN_ROOT"
    cp -a --one-file-system "$ORAVO_CLEAN_ROOT/." "$clean"
else
    mirror=${ORAVO_DEBIAN_MIRROR:-$(machines_mirror)}
    echo "== making a clean root from $mirror"
    # What apt inside it takes to go on from there.
    certificates=$([[ $mirror != https:* ]] || echo --include=ca-certificates)
    debootstrap --variant=minbase $certificates "$release" "$clean" "$mirror" >"$packages/debootstrap.log" 2>&1 ||
        { tail "$packages/debootstrap.log"; exit 1; }
fi
rm -f "$packages/debootstrap.log"
mount -t proc proc "$clean/proc" && mounted=1
cp /etc/resolv.conf "$clean/etc/resolv.conf"
cp -r "$root/tests/packaging" "$clean/hosts"
cp -r "$packages" "$clean/packages"

inside() { # COMMAND...: in the clean root, with nothing of this environment but its way out
    chroot "$clean" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive ${http_proxy:+http_proxy="$http_proxy"} "$@"
}
apt_inside() {
    inside apt-get -y -qq --no-install-recommends "$@" >"$clean/apt.log" 2>&1 ||
        { tail -n 20 "$clean/apt.log"; exit 1; }
}
built() { # PACKAGE...: their files in the clean root
    local package
    for package in "$@"; do (cd "$clean" && ls "packages/${package}"_*.deb) | sed 's|^|/|'; done
}
traces() {
    (cd "$clean" && find etc usr var -xdev -ipath '*oravo*' -not -path 'var/lib/dpkg/*' | sort)
}

inside apt-get update -qq

echo "== the program"
# shellcheck disable=SC2046 # one word for each file
apt_inside install $(built liboravo-superresolution0.1 oravo-superres)
inside sh -ec '
    oravo-superres simulate -o /burst --width 96 --height 80 --seed 3 >/dev/null
    oravo-superres enhance /burst -o /enlarged.tif >/dev/null
    oravo-superres evaluate /enlarged.tif /burst/truth.tif --reference /burst/frame_001.tif'

echo "== the NumPy package"
apt_inside install "$(built python3-oravo-superres)"
inside python3 -c '
import numpy as np, oravo_superres
y, x = np.mgrid[0:48, 0:64]
frames = [20 + 5 * np.sin((x - d) / 3) * np.cos((y + d) / 4) for d in (0, 0.4, -0.3, 0.7, 0.1)]
np.asarray(frames, np.float32).tofile("/frames")
oravo_superres.enhance(frames).tofile("/expected")'
echo "an enlarged image of $(stat -c %s "$clean/expected") bytes"
inside test -e /usr/lib/python3/dist-packages/oravo_superres/__pycache__

echo "== hosts in C and C++"
apt_inside install "$(built liboravo-superresolution-dev)" cmake make g++ pkg-config
inside sh -ec '
    cmake -S /hosts/consumer -B /build -DORAVO_INCLUDE_DIR=/usr/include/oravo >/dev/null
    cmake --build /build >/dev/null
    cc -std=c99 -pedantic-errors /hosts/consumer/host.c $(pkg-config --cflags --libs oravo-superresolution) -o /c_host'
for host in /build/c_host /build/cpp_host /c_host; do
    inside "$host" 64 48 5 /frames /enlarged >/dev/null
    cmp "$clean/enlarged" "$clean/expected"
    echo "$host: the same image"
done

echo "== the GStreamer plugin"
apt_inside install "$(built gstreamer1.0-oravosuperres)" gstreamer1.0-tools gstreamer1.0-plugins-base
inside gst-launch-1.0 -q videotestsrc num-buffers=6 ! video/x-raw,format=GRAY16_LE,width=32,height=24 ! \
    oravosuperres nuc=true pipeline=float ! filesink location=/images
inside sh -c '[ "$(stat -c %s /images)" -eq $((6 * 4 * 2 * 32 * 24)) ]'

echo "== removal"
apt_inside purge gstreamer1.0-oravosuperres oravo-superres python3-oravo-superres liboravo-superresolution-dev liboravo-superresolution0.1
left=$(traces)
[ -z "$left" ] || { echo "left behind:"; echo "$left"; exit 1; }
echo "nothing is left behind"
