# Shared by the scripts beside it: source it, do not run it.

# What building takes: the library, the program too, and everything with its tests.
library_packages="build-essential cmake ninja-build libopencv-dev libtbb-dev"
program_packages="$library_packages libtiff-dev libjpeg-dev libpng-dev libmagic-dev libssl-dev libcli11-dev nlohmann-json3-dev"
test_packages="$program_packages file libgtest-dev libbenchmark-dev ffmpeg libimage-exiftool-perl pkg-config python3-numpy python3-scipy python3-pytest
    python3-gdal python3-pip python3-setuptools python3-wheel python3-distributed
    libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base"
documentation_packages="git doxygen python3-sphinx python3-breathe python3-myst-parser python3-sphinx-gallery furo
    python3-sphinx-copybutton python3-matplotlib python3-numpy python3-scipy python3-pil"

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

installed() {
    [[ $(dpkg-query -W -f '${Status}' "$1" 2>/dev/null) = *"install ok installed"* ]]
}

# Installs those of the named Debian packages that are missing, and says so.
need_packages() {
    local missing=() package
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    if [ "${#missing[@]}" -eq 0 ]; then
        return 0
    fi
    echo "== installing ${missing[*]}"
    as_root apt-get update -qq
    # What the machine has stays: a package that cannot be installed beside it has to fail.
    local get=(as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends --no-remove)
    # An installation that was cut short before makes apt-get refuse every later one until it is finished.
    as_root env DEBIAN_FRONTEND=noninteractive dpkg --configure -a || "${get[@]}" --fix-broken
    "${get[@]}" "${missing[@]}"
}

# Configures and builds the project with warnings as errors: build_in FOLDER [CMAKE_ARGUMENT...] [-- TARGET...]
# (all targets when none is named). The configuration is shown only when it fails.
build_in() {
    local folder=$1 arguments=() log
    shift
    while [ "$#" -gt 0 ] && [ "$1" != -- ]; do
        arguments+=("$1")
        shift
    done
    local targets=("${@:2}")
    log=$(cmake -S . -B "$folder" -G Ninja -DORAVO_WARNINGS_AS_ERRORS=ON "${arguments[@]}" 2>&1) ||
        { echo "$log"; return 1; }
    cmake --build "$folder" --target "${targets[@]:-all}"
}

# The tree that all scripts share which need a release build.
release_tree=build-release

# Builds it, or the named targets of it: build_release [TARGET...]. Tests take part where what they need is installed, so
# that the demo asks for no more than the program needs, and nothing is compiled twice once the tests are wanted too.
build_release() {
    local tests=OFF
    if installed libgtest-dev; then tests=ON; fi
    build_in "$release_tree" -DCMAKE_BUILD_TYPE=Release -DORAVO_BUILD_STATIC=ON -DORAVO_BUILD_TESTS=$tests -- "$@"
}

# Builds for the sanitizers and for the fuzzers, which share what they are linked from: build_sanitized [TARGET...]
# With clang, whose warnings are not the project's measure.
build_sanitized() {
    need_packages $test_packages clang-14 libclang-rt-14-dev
    build_in build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
        -DORAVO_WARNINGS_AS_ERRORS=OFF -DORAVO_SANITIZE=address,undefined -DORAVO_FUZZ_ENGINE=ON -DORAVO_BUILD_BENCHMARKS=OFF -- "$@"
    # An allocation that the system refuses is one that the code has to live with.
    # libmagic copies pieces of its buffer by strndup, which the strict checks of strings take for a fault.
    echo interceptor_via_lib:libmagic.so > build-asan/suppressions
    export ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1:strict_string_checks=1
    ASAN_OPTIONS+=:suppressions=$PWD/build-asan/suppressions
    export UBSAN_OPTIONS=print_stacktrace=1
}

# The files of the project, built ones left out, each ended by a zero byte: tracked_files [PATTERN...]. Takes git.
tracked_files() {
    # The folder may belong to another user than the one who checks it.
    git -c safe.directory="$PWD" ls-files -z --cached --others --exclude-standard "$@"
}
