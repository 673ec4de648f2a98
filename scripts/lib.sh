# Shared by the scripts beside it: source it, do not run it.

# Installs those of the named Debian packages that are missing, and says so.
need_packages() {
    local missing=() package
    for package in "$@"; do
        if ! dpkg -s "$package" 2>/dev/null | grep -q '^Status: install ok installed'; then
            missing+=("$package")
        fi
    done
    if [ "${#missing[@]}" -eq 0 ]; then
        return 0
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo)
    fi
    echo "== installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
