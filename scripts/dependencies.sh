# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034
# Sourced by the scripts at the root: what the project needs from Debian 12, and how to get only what is missing.

to_build=(g++ cmake ninja-build libboost1.81-dev libboost-thread1.81-dev libboost-chrono1.81-dev
          libboost-system1.81-dev libboost-url1.81-dev libtinyxml2-dev libcurl4-openssl-dev libssl-dev libzstd-dev
          zlib1g-dev libspdlog-dev libcli11-dev ca-certificates)
to_test=("${to_build[@]}" make ccache libgtest-dev libgmock-dev pkg-config git openssl curl spin)
to_check=("${to_test[@]}" clang-14 libclang-rt-14-dev clang-format-14 clang-tidy-14)

# install_missing PACKAGE...: touches neither the network nor the system if all of them are there.
install_missing() {
    local package missing=()
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    echo "Installing from Debian: ${missing[*]}"
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300)
    if ((EUID != 0)); then
        command -v sudo >/dev/null || { echo "This needs root, or sudo." >&2 && return 1; }
        apt=(sudo "${apt[@]}")
    fi
    "${apt[@]}" update
    "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null
}
