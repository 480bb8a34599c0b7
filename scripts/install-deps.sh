#!/bin/bash
# Installs the Debian 12 packages that building and testing Corvel need. Asks apt only for what is
# missing, so a second run costs nothing; uses sudo when not run as root.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config git
    libsqlite3-dev sqlite3 libcli11-dev
    libgmime-3.0-dev libxml2-dev libcurl4-gnutls-dev libzip-dev libpcre2-dev
    libgtest-dev libgmock-dev
    clang-format
    python3-aiosmtpd dovecot-imapd openssl dnsmasq bogofilter
)

missing=()
# npm fetches the test corpus; a machine may have its own Node.js, so ask for Debian's only then.
command -v npm >/dev/null 2>&1 || packages+=(npm)
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
        missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
