# Shared steps of the end-to-end tests: build a real package with wixl (and
# msibuild for custom tables), install it with msiexec under Wine, and check the
# installer's verbose log and the registry. Source it; call e2e_begin first.
set -euo pipefail

E2E_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
WINE_RUN=$E2E_ROOT/scripts/wine-run
e2e_failures=0

# e2e_begin BUILD_DIR NAME FILE...: a fresh work folder with the built FILEs in it.
e2e_begin() {
    local build=$1 file
    E2E_DIR=$build/e2e/$2
    rm -rf "$E2E_DIR"
    mkdir -p "$E2E_DIR"
    for file in "${@:3}"; do cp "$build/$file" "$E2E_DIR/"; done
    export WINEPREFIX=${WINEPREFIX:?the Wine prefix comes from CTest}
}

# The Windows form of a host path (Wine maps / to Z:).
winpath() {
    printf 'Z:%s' "${1//\//\\}"
}

# e2e_package MSI TITLE: compiles a per-machine package (a fresh ProductCode each
# time) whose body comes from stdin and whose one component is a registry marker.
e2e_package() {
    local guid
    guid=$(python3 -c 'import sys, uuid; print(str(uuid.uuid5(uuid.NAMESPACE_URL, sys.argv[1])).upper())' "$2")
    cat >"$E2E_DIR/$1.wxs" <<HEAD
<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="*" Name="$2" Language="1033" Version="1.0.0" Manufacturer="Varen" UpgradeCode="$guid">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine"/>
$(cat)
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Component Id="Marker" Guid="$guid" Win64="yes">
        <RegistryValue Root="HKLM" Key="SOFTWARE\VarenE2E\\$1" Name="Installed" Type="integer" Value="1" KeyPath="yes"/>
      </Component>
    </Directory>
    <Feature Id="Main" Level="1"><ComponentRef Id="Marker"/></Feature>
  </Product>
</Wix>
HEAD
    (cd "$E2E_DIR" && wixl -a x64 -o "$1.msi" "$1.wxs")
}

# e2e_step ID CONDITION: the next step of the package's InstallExecuteSequence, kept in
# E2E_DIR/sequence (so that command substitutions can add steps too).
e2e_step() {
    touch "$E2E_DIR/sequence"
    printf '      <Custom Action="%s" Sequence="%s">%s</Custom>\n' "$1" $((1501 + $(wc -l <"$E2E_DIR/sequence"))) "$2" >>"$E2E_DIR/sequence"
}

# e2e_add_table MSI TABLE ROW...: adds a two-column text table (Property, Value)
# such as ORX_InstallProperties; each ROW is "name<TAB>value".
e2e_add_table() {
    printf 'Property\tValue\r\ns72\tl0\r\n%s\tProperty\r\n' "$2" >"$E2E_DIR/$2.idt"
    printf '%s\r\n' "${@:3}" >>"$E2E_DIR/$2.idt"
    (cd "$E2E_DIR" && msibuild "$1.msi" -i "$2.idt")
}

# e2e_msiexec LOG /i|/x MSI: runs msiexec quietly; its verbose log, without carriage
# returns, goes to E2E_DIR/LOG. Checks msiexec's exit code.
e2e_msiexec() {
    local status=0
    "$WINE_RUN" msiexec "$2" "$(winpath "$E2E_DIR/$3.msi")" /qn /l*v "$(winpath "$E2E_DIR/$1.raw")" || status=$?
    tr -d '\r' <"$E2E_DIR/$1.raw" >"$E2E_DIR/$1"
    expect_status "msiexec $2 $3" 0 "$status"
}

# e2e_reg VIEW ARGS...: the prefix's reg.exe in the 32 or 64 bit view.
e2e_reg() {
    "$WINE_RUN" reg "${@:2}" "/reg:$1" 2>/dev/null | tr -d '\r'
}

pass() { echo "ok: $*"; }
fail() {
    echo "FAILED: $*"
    e2e_failures=$((e2e_failures + 1))
}

# expect_lines LOG: the log holds every line of stdin as one whole line.
expect_lines() {
    local line
    while IFS= read -r line; do
        if grep -qxF -- "$line" "$E2E_DIR/$1"; then pass "$1: $line"; else fail "$1 lacks the line: $line"; fi
    done
}

# expect_key VIEW KEY present|absent
expect_key() {
    local got=absent
    "$WINE_RUN" reg query "$2" "/reg:$1" >/dev/null 2>&1 && got=present
    expect_status "$2 ($1-bit)" "$3" "$got"
}

# expect_status WHAT EXPECTED ACTUAL
expect_status() {
    if [[ $2 == "$3" ]]; then pass "$1 = $3"; else fail "$1 = $3, expected $2"; fi
}

e2e_end() {
    if ((e2e_failures)); then
        echo "$e2e_failures check(s) failed; logs kept in $E2E_DIR"
        exit 1
    fi
    echo "all checks passed"
}
