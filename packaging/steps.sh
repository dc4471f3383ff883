# Sourced by ./package, whose variables these functions use: the steps from a build to a package.
# shellcheck shell=bash disable=SC2154

# product FILTER: asks the product.json of the build.
product() { jq -r "$1" build/windows/product.json; }

# check_what_was_built: fails unless the executables are protected and import as they should.
check_what_was_built() {
  local executables
  mapfile -t executables < <(product '.executables[]')
  scripts/check_executables "${executables[@]}" >"$build/check_executables.log" 2>&1 || {
    grep -v '^  ok ' "$build/check_executables.log" >&2
    die "the executables are not as they are shipped; see build/check_executables.log"
  }
}

# copy_executables: to $stage, and to $setup the library of the installer.
copy_executables() {
  cp build/windows/VeltraneVpnService.exe build/windows/veltranectl.exe "$stage"
  cp build/windows/VeltraneSetup.dll "$setup"
}

# copy_documents: to $stage what an operator reads; how the service is made and tested stays here.
copy_documents() {
  cp LICENSE SECURITY.md CHANGELOG.md packaging/README.txt "$stage"
  mkdir "$stage/docs" "$stage/examples"
  cp examples/profile.conf examples/profile.json examples/minimal_client.cpp "$stage/examples"
  cp docs/*.md "$stage/docs"
  rm "$stage/docs/architecture.md" "$stage/docs/lab.md"
  cp -r docs/schema "$stage/docs"
}

# set_modes_and_times: what an archive stores of the files in $stage besides their bytes.
set_modes_and_times() {
  find "$stage" -type d -exec chmod 755 {} +
  find "$stage" -type f -exec chmod 644 {} +
  find "$stage" -exec touch -d "@$SOURCE_DATE_EPOCH" {} +
}

# make_zip FILE: of $stage. Options of the caller's that zip would add could change what is in it.
make_zip() { (cd "$work" && find "$name" -type f | sort | env -u ZIPOPT -u ZIP zip -q -X -9 -@ "$1"); }

# make_installer FILE: of $stage and $setup.
make_installer() {
  packaging/msi/make --stage "$stage" --setup "$setup" --version "$version" --output "$1"
}

# row FILE WHAT_IT_IS: prints a line of the report, if there is such a file.
row() {
  [ ! -f "$output/$1" ] ||
    printf '  %8s  %-32s %s\n' "$(stat -c %s "$output/$1" | numfmt --to=iec-i --suffix=B)" "$1" "$2"
}

# report: prints what was made.
report() {
  local about="version $version"
  if "$sign"; then about+=", signed"; else about+=", not signed"; fi
  if [ -z "$libraries" ]; then about+=", without tunnel.dll and wireguard.dll"; fi
  say
  say "$(realpath --relative-base="$called_from" "$output"): $about"
  row "$name.msi" "installs silently, for all users"
  row "$name.zip" "the same files, to read or to copy"
  row "$name.cdx.json" "bill of materials (CycloneDX)"
  row SHA256SUMS "check with: sha256sum -c SHA256SUMS"
}
