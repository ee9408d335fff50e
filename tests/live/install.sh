#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what the live tests need and this machine lacks. Needs root or a sudo that asks nothing.
set -euo pipefail

tools=(ceph-mon ceph-osd monmaptool osdmaptool radosgw radosgw-admin openssl curl ss)
packages=(ceph-mon ceph-osd radosgw openssl curl iproute2)

complete() { type -P "${tools[@]}" | wc -l | grep -qx "${#tools[@]}"; }

complete && exit 0
exec {lock}<"${BASH_SOURCE[0]}" # side by side, the first installs and the others wait
flock "$lock"
complete && exit 0

as_root=()
((EUID == 0)) || as_root=(sudo -n)
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300)
{
    "${apt[@]}" update
    "${apt[@]}" install -y --no-install-recommends "${packages[@]}"
} >&2
complete || { echo "install.sh: still missing one of: ${tools[*]}" >&2 && exit 1; }
