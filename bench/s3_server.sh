#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a command beside a fast store that knows nothing: s3_server.sh COMMAND [ARGUMENT...]
#
# An nginx on loopback takes every put and gives it back, answers listings of 200 pages of 1000 keys, multi-object deletes
# and the steps of a multipart upload, and looks at no signature. All parts of an upload are one and the same file. The
# command finds it through BUCKETRY_BENCH_HTTP, BUCKETRY_BENCH_HTTPS (endpoints) and BUCKETRY_BENCH_CA (certificate to
# trust); /status of an endpoint counts connections and requests.
set -euo pipefail

(($# > 0)) || { sed -n '2,/^set/{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2 && exit 2; }
PATH=$PATH:/usr/sbin
command -v nginx openssl >/dev/null || { echo "s3_server.sh: nginx and openssl are needed" >&2 && exit 69; }

# In memory where there is room, so that the disk is no contestant.
parent=${TMPDIR:-/tmp}
(($(df --output=avail -m /dev/shm 2>/dev/null | tail -n 1 || echo 0) > 4096)) && parent=/dev/shm
directory=$(mktemp -d "$parent/bucketry-bench.XXXXXX")
server=

clean_up() {
    [[ -z $server ]] || { kill "$server" && wait "$server" || true; }
    rm -rf "$directory"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP

make_certificate() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj "/CN=bench" \
        -addext subjectAltName=IP:127.0.0.1 -keyout "$directory/server.key" -out "$directory/server.pem" 2>/dev/null
}

make_answers() {
    local xml='<?xml version="1.0" encoding="UTF-8"?>' space='xmlns="http://s3.amazonaws.com/doc/2006-03-01/"'
    mkdir -p "$directory"/{canned,pages,store/bucket,temp}
    echo "$xml<DeleteResult $space/>" >"$directory/canned/delete.xml"
    echo "$xml<InitiateMultipartUploadResult $space><Bucket>bucket</Bucket><Key>big</Key><UploadId>upload-1</UploadId>" \
        "</InitiateMultipartUploadResult>" >"$directory/canned/initiate.xml"
    echo "$xml<CompleteMultipartUploadResult $space><Bucket>bucket</Bucket><Key>big</Key><ETag>\"0-1\"</ETag>" \
        "</CompleteMultipartUploadResult>" >"$directory/canned/complete.xml"
    awk -v folder="$directory/pages" -v start="$xml<ListBucketResult $space>" 'BEGIN {
        for (page = 0; page < 200; ++page) {
            file = folder "/" page ".xml"
            more = page < 199
            printf "%s<Name>bucket</Name><Prefix/><MaxKeys>1000</MaxKeys><KeyCount>1000</KeyCount>", start > file
            printf "<EncodingType>url</EncodingType><IsTruncated>%s</IsTruncated>", more ? "true" : "false" > file
            if (more) printf "<NextContinuationToken>%d</NextContinuationToken>", page + 1 > file
            for (n = 0; n < 1000; ++n) {
                printf "<Contents><Key>backup/set-%03d/object-%06d.bin</Key>", page, n > file
                printf "<LastModified>2026-03-14T15:09:26.000Z</LastModified>" > file
                printf "<ETag>&quot;%032x&quot;</ETag><Size>%d</Size>", page * 1000 + n, n * 4096 > file
                printf "<StorageClass>STANDARD</StorageClass></Contents>" > file
            }
            printf "</ListBucketResult>" > file
            close(file)
        }
    }'
}

write_settings() { # HTTP-PORT HTTPS-PORT
    cat >"$directory/nginx.conf" <<END
worker_processes 2;
daemon off;
pid $directory/nginx.pid;
error_log $directory/error.log;
$( ((EUID == 0)) && echo "user root;")
events { worker_connections 512; }
http {
    access_log off;
    default_type application/octet-stream;
    types { application/xml xml; }
    keepalive_requests 10000000;
    keepalive_timeout 600;
    sendfile on;
    tcp_nopush on;
    client_max_body_size 0;
    client_body_temp_path $directory/temp;
    proxy_temp_path $directory/temp;
    fastcgi_temp_path $directory/temp;
    uwsgi_temp_path $directory/temp;
    scgi_temp_path $directory/temp;
    map "\$request_method:\$args" \$answer {
        "~^POST:uploads" canned/initiate.xml;
        "~^POST:uploadId" canned/complete.xml;
        "~^POST:delete" canned/delete.xml;
        "~^GET:continuation-token=(?<page>[0-9]+)" pages/\$page.xml;
        "~^GET:.*list-type=2" pages/0.xml;
    }
    server {
        listen 127.0.0.1:$1;
        listen 127.0.0.1:$2 ssl;
        ssl_certificate $directory/server.pem;
        ssl_certificate_key $directory/server.key;
        if (\$answer) { rewrite ^ /\$answer last; }
        location = /status { stub_status; }
        location /pages/ { root $directory; }
        location /canned/ { # by way of a second server, so that the whole body is taken first
            proxy_pass http://unix:$directory/canned.socket:/;
            proxy_method GET;
            proxy_pass_request_body off;
            proxy_set_header Content-Length "";
        }
        location / {
            root $directory/store;
            dav_methods PUT;
            add_header ETag '"00000000000000000000000000000000"'; # a put has none of its own
        }
    }
    server {
        listen unix:$directory/canned.socket;
        root $directory/canned;
    }
}
END
}

start() {
    local attempt http https
    for attempt in {1..10}; do
        http=$((20000 + RANDOM % 10000)) https=$((http + 10000))
        write_settings "$http" "$https"
        nginx -c "$directory/nginx.conf" 2>"$directory/start.log" &
        server=$!
        for _ in {1..50}; do
            kill -0 "$server" 2>/dev/null || break
            if (exec 3<>"/dev/tcp/127.0.0.1/$https") 2>/dev/null && [[ -s $directory/nginx.pid ]]; then
                export BUCKETRY_BENCH_HTTP=http://127.0.0.1:$http BUCKETRY_BENCH_HTTPS=https://127.0.0.1:$https
                export BUCKETRY_BENCH_CA=$directory/server.pem
                return
            fi
            sleep 0.1
        done
        kill "$server" 2>/dev/null || true
        wait "$server" || true
        server=
    done
    cat "$directory/start.log" >&2
    echo "s3_server.sh: nginx does not start" >&2
    exit 69
}

make_certificate
make_answers
start
"$@"
