# Sourced by the scripts beside this folder: installs Debian or Ubuntu packages that are not there yet.

# need PACKAGE...
need() {
    local missing=()
    local package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}"
    local asRoot=()
    [ "$(id -u)" -eq 0 ] || asRoot=(sudo)
    "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
        >/dev/null
}
