#!/usr/bin/env bash
# the Debian packages please lintian and work in a clean Debian 12 root: they are installed by apt, used (program,
# NumPy package, hosts in C and C++, shared and static, examples out of the documentation), and removed without a trace;
# then the same images come out of the source by pip and as a part of another project
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

if [ "$(id -u)" -ne 0 ]; then
    echo "== not root: the packages were not installed"
    exit 0
fi
need_packages debootstrap git
clean=$(mktemp -d)
chmod 755 "$clean"  # it is the root folder of users other than root, too
mounted=0
finish() {
    if [ "$mounted" -eq 1 ]; then umount "$clean/proc"; fi
    rm -rf --one-file-system "$clean"
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
echo force-unsafe-io >"$clean/etc/dpkg/dpkg.cfg.d/unsafe-io" # the root does not outlive this script
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
same_image() { # HOST...: which has to write the image of the NumPy package
    inside "$@" >/dev/null
    cmp "$clean/enlarged" "$clean/expected"
    rm "$clean/enlarged"
    echo "$1: the same image"
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
oravo_superres.enhance(frames, pipeline="float").tofile("/expected")'
echo "an enlarged image of $(stat -c %s "$clean/expected") bytes"
inside test -e /usr/lib/python3/dist-packages/oravo_superres/__pycache__

echo "== hosts in C and C++"
apt_inside install "$(built liboravo-superresolution-dev)" cmake make g++ pkg-config
inside sh -ec '
    cmake -S /hosts/consumer -B /build -DORAVO_INCLUDE_DIR=/usr/include/oravo >/dev/null
    cmake --build /build >/dev/null
    cc -std=c99 -pedantic-errors /hosts/consumer/host.c $(pkg-config --cflags --libs oravo-superresolution) -o /c_host
    mkdir /static && ln -s "$(dirname "$(find /usr/lib -name liboravo_superresolution.a)")"/*oravo*.a /static
    cc -std=c99 /hosts/consumer/host.c $(pkg-config --cflags oravo-superresolution) -L/static \
        $(pkg-config --static --libs oravo-superresolution) -o /static_host'
for host in /build/c_host /build/cpp_host /build/static_host /c_host /static_host; do
    same_image "$host" 64 48 5 /frames /enlarged
done
! inside readelf -d /build/static_host /static_host | grep liboravo || { echo "a static host needs the shared library"; exit 1; }

echo "== the GStreamer plugin"
apt_inside install "$(built gstreamer1.0-oravosuperres)" gstreamer1.0-tools gstreamer1.0-plugins-base
inside gst-launch-1.0 -q videotestsrc num-buffers=6 ! video/x-raw,format=GRAY16_LE,width=32,height=24 ! \
    oravosuperres nuc=true pipeline=float ! filesink location=/images
inside sh -c '[ "$(stat -c %s /images)" -eq $((6 * 4 * 2 * 32 * 24)) ]'

echo "== the documentation, and examples out of it"
apt_inside install "$(built oravo-superresolution-doc)"
inside sh -ec '
    cd /usr/share/doc/oravo-superresolution-doc
    test -e html/index.html && test -z "$(find . -xtype l)"
    cmake -S examples -B /examples >/dev/null && cmake --build /examples --target c_burst cpp_archive >/dev/null
    /examples/c_burst 64 48 /image /deviation </frames'

echo "== removal"
apt_inside purge oravo-superresolution-doc gstreamer1.0-oravosuperres oravo-superres python3-oravo-superres liboravo-superresolution-dev liboravo-superresolution0.1
left=$(traces)
[ -z "$left" ] || { echo "left behind:"; echo "$left"; exit 1; }
echo "nothing is left behind"

echo "== from the source, by pip and as a part of another project"
mkdir "$clean/source"
(cd "$root" && tracked_files | xargs -0 cp --parents -t "$clean/source")
# shellcheck disable=SC2086 # several words
apt_inside install $library_packages python3-venv python3-numpy python3-setuptools python3-wheel
inside sh -ec '
    python3 -m venv --system-site-packages /environment
    cd /source && /environment/bin/pip install --no-index --no-build-isolation --disable-pip-version-check . >/log 2>&1 ||
        { tail -n 20 /log; exit 1; }'
same_image /environment/bin/python -c 'import numpy as np, oravo_superres
oravo_superres.enhance(np.fromfile("/frames", np.float32).reshape(5, 48, 64), pipeline="float").tofile("/enlarged")'
inside sh -ec 'cmake -G Ninja -S /hosts/subproject -B /parent -DORAVO_SOURCE_DIR=/source >/log && cmake --build /parent >>/log ||
    { tail -n 20 /log; exit 1; }'
same_image /parent/c_host 64 48 5 /frames /enlarged
