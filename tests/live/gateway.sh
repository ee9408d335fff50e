#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A one-node Ceph RADOS gateway on loopback, without keys, everything it has in one directory.
#   gateway.sh start DIR          makes one in DIR (absent or empty) and starts it; DIR/env then tells clients what to know
#   gateway.sh stop DIR           ends all its processes
#   gateway.sh end DIR NAME       ends one of them: mon, osd, gateway, tls-expired, tls-other-name or tls-stranger
#   gateway.sh restart DIR NAME   ends it and starts it again, on the same port
#   gateway.sh watch DIR PID      waits for the end of process PID, then stops everything and removes DIR
# BUCKETRY_LIVE_STORE=bluestore keeps data when the OSD is killed; the default, memstore, starts sooner.
# Further settings go into CEPH_ARGS, as in CEPH_ARGS=--rgw_max_concurrent_requests=4.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
store=${BUCKETRY_LIVE_STORE:-memstore}
patience=60 # seconds for each thing waited for

# Where buckets are part of the host name. The gateway would know BUCKET.localhost, but clients refuse a certificate for
# *.localhost, a wildcard of one label. It takes the first name that fits, by the alphabet: this must precede localhost.
virtual_domain=buckets.localhost

# In the order they start; they end in the opposite one.
names=(mon osd gateway tls-expired tls-other-name tls-stranger)

say() { echo "gateway.sh: $*" >&2; }

# --- Ports: a block of 16, kept in DIR/port ------------------------------------------------------------------------

# Takes a block where nothing is bound, below the usual range of outgoing connections.
pick_ports() {
    local first
    while first=$((15000 + RANDOM % 1000 * 16)); [[ -n $(ss -Htan "sport >= :$first and sport <= :$((first + 15))") ]]; do
        :
    done
    echo "$first" >"$directory/port"
}

# The first and last port of process NAME.
ports_of() {
    local base
    base=$(<"$directory/port")
    case $1 in
    mon) echo "$base $base" ;;
    gateway) echo "$((base + 1)) $((base + 2))" ;;
    tls-expired) echo "$((base + 3)) $((base + 3))" ;;
    tls-other-name) echo "$((base + 4)) $((base + 4))" ;;
    tls-stranger) echo "$((base + 5)) $((base + 5))" ;;
    osd) echo "$((base + 6)) $((base + 15))" ;;
    esac
}

# Prints who listens on the ports of NAME.
listeners() {
    local first last
    read -r first last < <(ports_of "$1")
    ss -Hltnp "sport >= :$first and sport <= :$last"
}

# --- Processes -----------------------------------------------------------------------------------------------------

pid_of() { cat "$directory/$1.pid" 2>/dev/null; }

# Whether NAME runs, and its number was not taken over by a stranger.
alive() {
    local process
    process=/proc/$(pid_of "$1") || return 1
    grep -qs '^State:.[^XZ]' "$process/status" || return 1
    # For a moment, while a process becomes another program, there is no command line.
    ! grep -qs . "$process/cmdline" || grep -qsF "$directory/" "$process/cmdline"
}

# Whether NAME itself listens, not somebody else on its port.
listens() { [[ $(listeners "$1") == *"pid=$(pid_of "$1"),"* ]]; }

vacant() { [[ -z $(listeners "$1") ]]; }

numbered() { [[ -s $directory/$1.pid ]]; }

gone() { ! alive "$1"; }

# Waits until CONDITION holds for NAME.
await() { # CONDITION NAME
    local deadline=$((SECONDS + patience))
    until "$1" "$2"; do
        ((SECONDS < deadline)) || { say "$2: not '$1' within $patience s" && return 1; }
        sleep 0.02
    done
}

listens_or_gone() { listens "$1" || gone "$1"; }

# The process writes its own number before it becomes COMMAND, so that none can run unknown to `stop`.
launch() { # NAME COMMAND...
    local name=$1
    shift
    rm -f "$directory/$name.pid"
    # shellcheck disable=SC2016 # that shell is to expand them
    setsid sh -c 'echo $$ >"$0" && exec "$@"' "$directory/$name.pid" "$@" </dev/null >>"$directory/$name.log" 2>&1 &
    await numbered "$name"
    await listens_or_gone "$name"
    alive "$name" || { say "$name ended at its start" && return 1; }
}

begin() { # NAME
    local port configuration=$directory/ceph.conf
    read -r port _ < <(ports_of "$1")
    case $1 in
    mon) launch mon ceph-mon -i a -c "$configuration" -f ;;
    osd) launch osd ceph-osd -i 0 -c "$configuration" -f ;;
    gateway) launch gateway radosgw -n client.rgw -c "$configuration" -f && await answers gateway ;;
    tls-*)
        launch "$1" openssl s_server -quiet -www -accept "127.0.0.1:$port" \
            -cert "$directory/${1#tls-}.pem" -key "$directory/${1#tls-}.key"
        ;;
    esac
}

answers() { # gateway
    local port
    read -r port _ < <(ports_of "$1")
    curl --silent --fail --noproxy '*' --max-time 5 --output /dev/null "http://127.0.0.1:$port/"
}

# Nothing is worth a graceful end here, and a stopped process would not answer to a milder signal.
end() { # NAME
    alive "$1" || return 0
    kill -KILL "$(pid_of "$1")" 2>/dev/null || true
    await gone "$1"
}

end_all() {
    local i
    for ((i = ${#names[@]} - 1; i >= 0; i--)); do
        end "${names[i]}"
    done
}

# --- Making it -----------------------------------------------------------------------------------------------------

store_settings() {
    echo "[global]"
    case $store in
    memstore)
        echo "osd_objectstore = memstore"
        echo "memstore_device_bytes = 8589934592"
        echo "osd_pool_default_read_lease_ratio = 30"
        ;;
    bluestore)
        echo "osd_objectstore = bluestore"
        echo "bluestore_block_size = 17179869184"
        echo "bluestore_block_db_create = false"
        echo "bluestore_block_wal_create = false"
        echo "osd_pool_default_read_lease_ratio = 0.8"
        ;;
    *) say "BUCKETRY_LIVE_STORE=$store: neither memstore nor bluestore" && return 1 ;;
    esac
}

configuration() { # FSID
    local mon osd_first osd_last http https
    read -r mon _ < <(ports_of mon)
    read -r osd_first osd_last < <(ports_of osd)
    read -r http https < <(ports_of gateway)
    cat <<END
[global]
fsid = $1
auth_cluster_required = none
auth_service_required = none
auth_client_required = none
# Without this the gateway waits for ever once there are no keys.
ms_mon_client_mode = crc
mon_host = v2:127.0.0.1:$mon
public_addr = 127.0.0.1
cluster_addr = 127.0.0.1
ms_bind_msgr1 = false
ms_bind_port_min = $osd_first
ms_bind_port_max = $osd_last
osd_pool_default_size = 1
osd_pool_default_min_size = 1
osd_pool_default_pg_num = 1
osd_pool_default_pgp_num = 1
osd_pool_default_pg_autoscale_mode = off
osd_crush_chooseleaf_type = 0
osd_crush_update_on_start = false
mon_allow_pool_size_one = true
objecter_tick_interval = 0.5
paxos_propose_interval = 0.01
# A full disk of the machine must not end the monitor.
mon_data_avail_crit = 0
log_to_file = false
admin_socket =
run_dir = $directory
crash_dir = $directory

[mon]
mon_data = $directory/mon
mon_cluster_log_to_file = false
log_to_stderr = true

# Its log would begin with the whole index of the memory store.
[osd]
osd_data = $directory/osd

[client.rgw]
rgw_data = $directory/rgw
# Without tcp_nodelay every GET takes 44 ms.
rgw_frontends = beast tcp_nodelay=1 endpoint=127.0.0.1:$http ssl_endpoint=127.0.0.1:$https ssl_certificate=$directory/server.pem ssl_private_key=$directory/server.key
rgw_dns_name = localhost
rgw_gc_obj_min_wait = 5
rgw_gc_processor_period = 5
rgw_s3_auth_use_sts = true
rgw_sts_key = $(openssl rand -hex 8)
log_to_stderr = true
END
}

make_cluster() {
    local id mon
    id=$(</proc/sys/kernel/random/uuid)
    {
        configuration "$id"
        store_settings
    } >"$directory/ceph.conf"
    read -r mon _ < <(ports_of mon)
    cd "$directory"
    mkdir mon osd rgw
    {
        monmaptool --create --fsid "$id" --addv a "[v2:127.0.0.1:$mon]" monmap
        osdmaptool --createsimple 1 osdmap
        ceph-mon --mkfs -i a --monmap monmap --osdmap osdmap -c ceph.conf
        ceph-osd --mkfs -i 0 --osd-uuid "$(</proc/sys/kernel/random/uuid)" --no-mon-config -c ceph.conf
    } >make.log 2>&1
}

administer() {
    setpriv --pdeathsig TERM -- timeout "$patience" radosgw-admin -c "$directory/ceph.conf" "$@" 2>>"$directory/admin.log"
}

# Two accounts, and what the gateway reads at its start: a storage class beside STANDARD, a second host name.
make_zone() {
    {
        administer user create --uid=owner --display-name=owner --caps='roles=*;user-policy=*' \
            --access-key="$BUCKETRY_LIVE_ACCESS_KEY" --secret-key="$BUCKETRY_LIVE_SECRET_KEY"
        administer user create --uid=other --display-name=other \
            --access-key="$BUCKETRY_LIVE_OTHER_ACCESS_KEY" --secret-key="$BUCKETRY_LIVE_OTHER_SECRET_KEY"
        local class=(placement add --placement-id=default-placement --storage-class="$BUCKETRY_LIVE_STORAGE_CLASS")
        administer zonegroup "${class[@]}" --rgw-zonegroup=default
        administer zone "${class[@]}" --rgw-zone=default --data-pool=default.rgw.cold.data
    } >>"$directory/admin.log"
    administer zonegroup get | sed "s/\"hostnames\": \[\]/\"hostnames\": [\"$virtual_domain\"]/" >"$directory/zonegroup"
    administer zonegroup set --infile="$directory/zonegroup" >>"$directory/admin.log"
}

# Lets the owner ask for session tokens, which only a policy can; radosgw-admin cannot write one.
allow_session_tokens() {
    local policy='{"Version":"2012-10-17","Statement":[{"Effect":"Allow","Action":"sts:*","Resource":"*"}]}'
    local body="Action=PutUserPolicy&UserName=owner&PolicyName=tokens&PolicyDocument=$policy"
    curl --silent --show-error --fail --noproxy '*' --data-raw "$body" --output /dev/null \
        --aws-sigv4 aws:amz:default:s3 --user "$BUCKETRY_LIVE_ACCESS_KEY:$BUCKETRY_LIVE_SECRET_KEY" \
        --header "x-amz-content-sha256: $(printf %s "$body" | sha256sum | cut -d ' ' -f 1)" \
        "$BUCKETRY_LIVE_ENDPOINT/"
}

# Sets what clients need to know and keeps it in DIR/env.
make_environment() {
    local http https port
    read -r http https < <(ports_of gateway)
    export BUCKETRY_LIVE_DIR=$directory
    export BUCKETRY_LIVE_TOOL=$here/gateway.sh
    export BUCKETRY_LIVE_ENDPOINT=http://127.0.0.1:$http
    export BUCKETRY_LIVE_TLS_ENDPOINT=https://localhost:$https
    export BUCKETRY_LIVE_VIRTUAL_ENDPOINT=http://$virtual_domain:$http
    export BUCKETRY_LIVE_TLS_VIRTUAL_ENDPOINT=https://$virtual_domain:$https
    read -r port _ < <(ports_of tls-expired)
    export BUCKETRY_LIVE_TLS_EXPIRED=https://localhost:$port
    read -r port _ < <(ports_of tls-other-name)
    export BUCKETRY_LIVE_TLS_OTHER_NAME=https://localhost:$port
    read -r port _ < <(ports_of tls-stranger)
    export BUCKETRY_LIVE_TLS_STRANGER=https://localhost:$port
    export BUCKETRY_LIVE_CA=$directory/ca.pem
    export BUCKETRY_LIVE_WRONG_CA=$directory/stranger-ca.pem
    export BUCKETRY_LIVE_REGION=default # the only location constraint it takes
    export BUCKETRY_LIVE_STORAGE_CLASS=COLD
    BUCKETRY_LIVE_ACCESS_KEY=$(openssl rand -hex 10)
    BUCKETRY_LIVE_SECRET_KEY=$(openssl rand -hex 20)
    BUCKETRY_LIVE_OTHER_ACCESS_KEY=$(openssl rand -hex 10)
    BUCKETRY_LIVE_OTHER_SECRET_KEY=$(openssl rand -hex 20)
    export BUCKETRY_LIVE_ACCESS_KEY BUCKETRY_LIVE_SECRET_KEY BUCKETRY_LIVE_OTHER_ACCESS_KEY BUCKETRY_LIVE_OTHER_SECRET_KEY
    (umask 077 && declare -px | grep ' BUCKETRY_LIVE_' >"$directory/env")
}

bring_up() {
    pick_ports
    make_environment
    "$here/certificates.sh" "$directory"
    make_cluster
    begin mon
    begin osd
    make_zone
    local name
    for name in "${names[@]:2}"; do
        begin "$name"
    done
    allow_session_tokens
}

# Whether a process found a port of ours taken by somebody who was quicker.
clashed() { grep -qsiE 'address already in use|unable to bind|failed to bind' "$directory"/*.log; }

start() {
    local try
    mkdir -p "$directory"
    [[ -z $(ls -A "$directory") ]] || { say "$directory is not empty" && return 1; }
    for try in 1 2 3 4 5; do
        # In a process of its own: `set -e` has no effect within a condition.
        setpriv --pdeathsig KILL -- "$here/gateway.sh" bring-up "$directory" && return 0
        end_all
        clashed || break
        say "try $try met a port taken meanwhile"
        find "$directory" -mindepth 1 -delete
    done
    tail -n 30 "$directory"/*.log | grep . >&2 || true
    say "could not start"
    return 1
}

(($# >= 2)) || { sed -n '2,/^set/{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2 && exit 2; }
directory=$(realpath -m "$2")
case $1 in
start) start ;;
bring-up) bring_up ;;
stop) end_all ;;
end) end "$3" ;;
watch)
    tail --pid="$3" -s 0.1 -f /dev/null
    end_all
    rm -rf "$directory"
    ;;
restart)
    end "$3"
    await vacant "$3"
    begin "$3"
    ;;
*) say "unknown command '$1'" && exit 2 ;;
esac
