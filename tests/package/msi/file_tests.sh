# Sourced by run_all: the package as a file.
# shellcheck shell=bash disable=SC2154

property() { msiinfo export "$work/$1" Property | tr -d '\r' | sed -n "s/^$2\t//p"; }
package_code() { msiinfo suminfo "$work/$1" | sed -n 's/^Revision number (UUID): //p'; }

make_msi 1.0.0 "$work/again.msi"
touch "$stage"/*
make_msi 1.0.0 "$work/later.msi"
verdict "the same input makes the same bytes" "the file" \
  "$(cmp "$work/new.msi" "$work/again.msi" 2>&1; cmp "$work/new.msi" "$work/later.msi" 2>&1)"

echo "another line" >>"$stage/docs/glossary.md"
make_msi 1.0.0 "$work/other.msi"
cp "$root/docs/glossary.md" "$stage/docs"
verdict "other content has another package code" "summary information" \
  "$([ "$(package_code new.msi)" != "$(package_code other.msi)" ] || package_code other.msi)"
verdict "a version has one product code" "table Property" \
  "$(differs "$(property new.msi ProductCode)" "$(property other.msi ProductCode)")"
verdict "another version has another product code" "table Property" \
  "$([ "$(property new.msi ProductCode)" != "$(property old.msi ProductCode)" ] || property old.msi ProductCode)"
verdict "all versions have one upgrade code" "table Property" \
  "$(differs "$(property new.msi UpgradeCode)" "$(property old.msi UpgradeCode)")"
verdict "times are SOURCE_DATE_EPOCH" "summary information" "$(differs 'Created: Thu Jan  1 00:00:00 2026
Last saved: Thu Jan  1 00:00:00 2026' \
  "$(SOURCE_DATE_EPOCH=1767225600 make_msi 1.0.0 "$work/dated.msi" && TZ=UTC msiinfo suminfo "$work/dated.msi" |
    grep -E '^(Created|Last saved)')")"
verdict "executables have a version and a language" "table File" "$(differs '1.0.0.0 1033
1.0.0.0 1033' "$(msiinfo export "$work/new.msi" File | tr -d '\r' | awk -F'\t' '$3 ~ /\.exe$/ {print $5, $6}')")"

# A file that has another one inside, as a library has its driver, has the versions of both.
with_another_inside() {
  python3 - "$1" <<'END'
import pathlib, struct, sys
file = pathlib.Path(sys.argv[1])
content = bytearray(file.read_bytes())
content[0x40:0x50] = struct.pack("<IIII", 0xFEEF04BD, 0x00010000, 0x00070000, 0)
file.write_bytes(content)
END
}
with_another_inside "$stage/VeltraneVpnService.exe"
make_msi 1.0.0 "$work/two.msi"
cp "$build_folder/VeltraneVpnService.exe" "$stage"
verdict "the version of a file is not that of another inside it" "table File" "$(differs '1.0.0.0 1033' \
  "$(msiinfo export "$work/two.msi" File | tr -d '\r' | awk -F'\t' '$3 ~ /Service\.exe$/ {print $5, $6}')")"

verdict "all other files have a hash" "tables File, MsiFileHash" "$(differs \
  "$(msiinfo export "$work/new.msi" File | tr -d '\r' | awk -F'\t' 'NR > 3 && $5 == "" {print $1}' | sort)" \
  "$(msiinfo export "$work/new.msi" MsiFileHash | tr -d '\r' | awk 'NR > 3 {print $1}' | sort)")"
verdict "users who are not administrators can set no property of the product" "table Property" \
  "$(differs 'NEWERPRODUCT;OLDERPRODUCT' "$(property new.msi SecureCustomProperties)")"
verdict "with windows it does what it does without" "table InstallUISequence" "$(differs ExecuteAction \
  "$(msiinfo export "$work/new.msi" InstallUISequence | tr -d '\r' | awk 'NR > 3 {print $1}')")"
verdict "nothing names the folders of the build" "the file" \
  "$(grep -aobF -e "$work" -e "$root" -e "$build_folder" "$work/new.msi" | head -3)"
