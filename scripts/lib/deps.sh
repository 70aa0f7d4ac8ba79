# Installs the Debian packages the project needs, when they are missing.
# Sourced by scripts/test and scripts/demo.
OXGW_PACKAGES=(cmake make g++ libace-dev libgtest-dev libgmock-dev libbenchmark-dev byacc clang python3
               netcat-openbsd python3-aiosmtpd)

oxgw_install_deps() {
    local missing=()
    for p in "${OXGW_PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" \
            || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "Missing Debian packages: ${missing[*]}" >&2
        echo "Run as root, or: sudo apt-get install -y ${missing[*]}" >&2
        return 1
    fi
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq "${missing[@]}"
}

oxgw_build() {  # oxgw_build DIR [cmake args...]
    local dir=$1
    shift
    cmake -S . -B "$dir" "$@" >/dev/null
    cmake --build "$dir" -j"$(nproc)"
}
