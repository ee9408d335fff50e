#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the certificates of the live tests: certificates.sh DIR
#   ca.pem           the authority clients are to trust; it signed all of these but the stranger's
#   server.pem       good: localhost, buckets.localhost, *.buckets.localhost, 127.0.0.1
#   expired.pem      good names, ended yesterday
#   other-name.pem   in date, for another host
#   stranger.pem     good names, signed by stranger-ca.pem
# Each has its private key beside it (.key).
set -euo pipefail
cd "$1"

new_key=(-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes)
good_names='DNS:localhost,DNS:buckets.localhost,DNS:*.buckets.localhost,IP:127.0.0.1'

authority() { # NAME
    openssl req -x509 "${new_key[@]}" -keyout "$1.key" -out "$1.pem" -days 30 -subj "/CN=live tests $1" \
        -addext keyUsage=critical,keyCertSign
}

certificate() { # NAME AUTHORITY DAYS ALTERNATIVE-NAMES
    openssl req "${new_key[@]}" -keyout "$1.key" -subj "/CN=live tests $1" \
        -addext "subjectAltName=$4" -addext extendedKeyUsage=serverAuth |
        openssl x509 -req -CA "$2.pem" -CAkey "$2.key" -days "$3" -copy_extensions copy -out "$1.pem"
}

{
    authority ca
    authority stranger-ca
    certificate server ca 30 "$good_names"
    certificate expired ca -1 "$good_names"
    certificate other-name ca 30 DNS:elsewhere.example
    certificate stranger stranger-ca 30 "$good_names"
} 2>certificates.log
