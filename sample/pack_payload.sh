#!/bin/sh
# pack_payload.sh FOLDER OUTPUT: the files of FOLDER as the payload archive. The same files give the same archive.
set -eu
folder=$1 output=$2

fail() {
    echo "error: the payload folder $folder $1" >&2
    exit 1
}

[ -d "$folder" ] || fail "does not exist"
[ -f "$folder/VERSION" ] || fail "lacks VERSION"
[ -f "$folder/KelvaneInstaller.msi" ] || [ -f "$folder/KelvaneInstaller.exe" ] ||
    fail "lacks an installer: KelvaneInstaller.msi or KelvaneInstaller.exe"
[ -f "$folder/KelvaneCleaner.exe" ] || fail "lacks KelvaneCleaner.exe"
version=$(cat "$folder/VERSION")
echo "$version" | grep -Eqx '[0-9]{1,5}(\.[0-9]{1,5}){3}' && [ "$(wc -c <"$folder/VERSION")" -eq ${#version} ] ||
    fail "holds a VERSION that is not a four-part version alone, without a line end"
[ -z "$(find "$folder" -mindepth 1 -type d)" ] || fail "holds folders; all entries lie at the top level"

# Copies with one time for all, so that the archive depends on the contents alone.
staging=$(mktemp -d "$output.XXXXXX")
trap 'rm -rf "$staging"' EXIT
cp "$folder"/* "$staging"
cd "$staging"
TZ=UTC touch -d '2023-01-01 00:00:00' ./*
chmod 644 ./*
rm -f "$output"
export TZ=UTC LC_ALL=C
find . -type f ! -name VERSION | sort | zip -q -X -9 "$output" -@
zip -q -X -0 "$output" VERSION
