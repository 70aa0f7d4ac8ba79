# The armhf cross build for the controller board. Sourced by scripts/test
# and scripts/package with --arm.
OXGW_ARM_HOST_PACKAGES=(crossbuild-essential-armhf qemu-user)
# GoogleTest is multiarch: its armhf packages install beside the native ones.
OXGW_ARM_PACKAGES=(libgtest-dev:armhf libgmock-dev:armhf)
OXGW_ARM_DIR=build-armhf
OXGW_ARM_SYSROOT=$PWD/$OXGW_ARM_DIR/sysroot

oxgw_arm_missing() {  # prints the packages of "$@" that are not installed
    local p
    for p in "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || echo "$p"
    done
}

oxgw_arm_setup() {
    local missing
    export DEBIAN_FRONTEND=noninteractive
    missing=$(oxgw_arm_missing "${OXGW_ARM_HOST_PACKAGES[@]}")
    if ! dpkg --print-foreign-architectures | grep -qx armhf || [ -n "$missing" ] ||
        [ -n "$(oxgw_arm_missing "${OXGW_ARM_PACKAGES[@]}")" ]; then
        if [ "$(id -u)" -ne 0 ]; then
            echo "The armhf build needs root once: the armhf architecture," \
                "${OXGW_ARM_HOST_PACKAGES[*]} ${OXGW_ARM_PACKAGES[*]}" >&2
            return 1
        fi
        if [ -n "$missing" ]; then
            apt-get update -qq
            apt-get install -y -qq $missing || return 1
        fi
        if ! dpkg --print-foreign-architectures | grep -qx armhf; then
            echo "Enabling the armhf architecture"
            dpkg --add-architecture armhf || return 1
        fi
        # An index that fails (a mirror in sync) leaves the others usable.
        apt-get update -qq || echo "apt-get update reported errors; going on with what it read" >&2
        missing=$(oxgw_arm_missing "${OXGW_ARM_PACKAGES[@]}")
        [ -z "$missing" ] || apt-get install -y -qq $missing || return 1
    fi
    oxgw_arm_ace
}

# libace-dev is not multiarch: its armhf package would remove the native one.
# Its armhf packages are unpacked into a folder of the build instead.
oxgw_arm_ace() {
    [ -e "$OXGW_ARM_SYSROOT/usr/include/ace/ACE.h" ] && return 0
    local lib debs
    lib=$(apt-cache show libace-dev:armhf 2>/dev/null | sed -n 's/^Depends: \(libace-[^ ,]*\).*/\1/p' | head -n 1)
    if [ -z "$lib" ]; then
        echo "No armhf ACE (libace-dev:armhf) in the package sources" >&2
        return 1
    fi
    debs=$(mktemp -d)
    chmod 755 "$debs"  # apt downloads as its own user
    (cd "$debs" && apt-get download -qq "libace-dev:armhf" "$lib:armhf") || { rm -rf "$debs"; return 1; }
    mkdir -p "$OXGW_ARM_SYSROOT"
    local d
    for d in "$debs"/*.deb; do
        dpkg-deb -x "$d" "$OXGW_ARM_SYSROOT" || { rm -rf "$debs"; return 1; }
    done
    rm -rf "$debs"
    echo "armhf ACE unpacked into $OXGW_ARM_SYSROOT"
}

oxgw_arm_configure() {  # oxgw_arm_configure DIR
    cmake -S . -B "$1" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/armhf-toolchain.cmake" \
        -DOXGW_ARMHF_SYSROOT="$OXGW_ARM_SYSROOT" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
        -DOXGW_BENCH=OFF >/dev/null
}

# The unit tests only: the suites of the test sources that start the built
# programs (the gateway, the simulator, the clients) are left out. Their
# sandboxes go to tmpfs: under qemu-user a 32-bit readdir on ext4 gets the
# host's 64-bit directory offsets and fails with EOVERFLOW (a 32-bit kernel
# or compat syscalls give 32-bit ones, so the board does not see this).
oxgw_arm_unit_tests() {  # oxgw_arm_unit_tests DIR
    local suites tmp status
    suites=$(grep -lE 'GatewayTestEnv|GatewayProcess|OXGW_BUILD_DIR' tests/*/*.cpp |
        xargs grep -ohE '^TEST(_F|_P)?\( *[A-Za-z0-9_]+' | sed -E 's/.*\( *//' | sort -u | paste -sd'|')
    # Death tests start the test program again; without binfmt_misc for arm
    # the kernel cannot run it (qemu-user-binfmt registers that on a host
    # that has binfmt_misc; a container usually has not).
    [ -e /proc/sys/fs/binfmt_misc/qemu-arm ] || suites="$suites|[A-Za-z0-9_]*DeathTest"
    tmp=$(mktemp -d /dev/shm/oxgw-armhf-XXXXXX) || return 1
    (cd "$1" && TMPDIR=$tmp ctest -j"$(nproc)" --output-on-failure -E "(^|/)($suites)\\.")
    status=$?
    rm -rf "$tmp"
    return $status
}
