# Shared steps of the end-to-end tests: build a real package with wixl (and
# msibuild for custom tables), install it with msiexec under Wine, and check the
# installer's verbose log and the registry. Source it; call e2e_begin first.
set -euo pipefail

E2E_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
WINE_RUN=$E2E_ROOT/scripts/wine-run
e2e_failures=0

# e2e_begin BUILD_DIR NAME: a fresh work folder with the DLLs under test.
e2e_begin() {
    local build=$1 name=$2
    E2E_DIR=$build/e2e/$name
    rm -rf "$E2E_DIR"
    mkdir -p "$E2E_DIR"
    cp "$build/Varen_CA.dll" "$build/probe_ca.dll" "$E2E_DIR/"
    : "${WINEPREFIX:?the Wine prefix comes from CTest}"
    export WINEPREFIX
}

# The Windows form of a host path (Wine maps / to Z:).
winpath() {
    printf 'Z:%s' "${1//\//\\}"
}

# e2e_package WXS MSI: compiles WiX source (in E2E_DIR) into a package; every
# build gets a fresh ProductCode (Product Id="*").
e2e_package() {
    (cd "$E2E_DIR" && wixl -a x64 -o "$2" "$1" 2>/dev/null)
}

# e2e_wxs FILE TITLE: writes E2E_DIR/FILE, the WiX source of a per-machine package
# whose body (properties, binaries, custom actions, sequences) comes from stdin and
# whose one component is a registry marker; its GUIDs follow from TITLE.
e2e_wxs() {
    local title=$2 upgrade marker
    upgrade=$(e2e_guid "upgrade $title")
    marker=$(e2e_guid "marker $title")
    {
        cat <<HEAD
<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="*" Name="$title" Language="1033" Version="1.0.0" Manufacturer="Varen" UpgradeCode="$upgrade">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine"/>
HEAD
        cat
        cat <<TAIL
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Component Id="Marker" Guid="$marker" Win64="yes">
        <RegistryValue Root="HKLM" Key="SOFTWARE\VarenE2E\${title// /}" Name="Installed" Type="integer" Value="1" KeyPath="yes"/>
      </Component>
    </Directory>
    <Feature Id="Main" Level="1"><ComponentRef Id="Marker"/></Feature>
  </Product>
</Wix>
TAIL
    } >"$E2E_DIR/$1"
}

e2e_guid() {
    python3 -c 'import sys, uuid; print(str(uuid.uuid5(uuid.NAMESPACE_URL, sys.argv[1])).upper())' "$1"
}

# e2e_add_table MSI TABLE ROW...: adds a two-column text table (Property, Value)
# such as ORX_InstallProperties; each ROW is "name<TAB>value".
e2e_add_table() {
    local msi=$1 table=$2
    shift 2
    {
        printf 'Property\tValue\r\ns72\tl0\r\n%s\tProperty\r\n' "$table"
        local row
        for row in "$@"; do printf '%s\r\n' "$row"; done
    } >"$E2E_DIR/$table.idt"
    (cd "$E2E_DIR" && msibuild "$msi" -i "$table.idt")
}

# e2e_msiexec ARGS...: runs msiexec quietly with a verbose log in E2E_DIR/LOGNAME
# (the first argument); returns msiexec's exit code.
e2e_msiexec() {
    local log=$1
    shift
    "$WINE_RUN" msiexec "$@" /qn /l*v "$(winpath "$E2E_DIR/$log")"
}

# e2e_reg VIEW ARGS...: the prefix's reg.exe in the 32 or 64 bit view.
e2e_reg() {
    local view=$1
    shift
    "$WINE_RUN" reg "$@" "/reg:$view" 2>/dev/null | tr -d '\r'
}

pass() { echo "ok: $*"; }
fail() {
    echo "FAILED: $*"
    e2e_failures=$((e2e_failures + 1))
}

# expect_line LOG TEXT: the log holds TEXT as one whole line.
expect_line() {
    if grep -qxF -- "$2" "$E2E_DIR/$1"; then pass "log line: $2"; else fail "log $1 lacks the line: $2"; fi
}

# expect_key VIEW KEY present|absent
expect_key() {
    local view=$1 key=$2 want=$3 got=absent
    "$WINE_RUN" reg query "$key" "/reg:$view" >/dev/null 2>&1 && got=present
    if [[ $got == "$want" ]]; then pass "$key ($view-bit) $want"; else fail "$key ($view-bit) is $got, expected $want"; fi
}

# expect_status WHAT EXPECTED ACTUAL
expect_status() {
    if [[ $2 == "$3" ]]; then pass "$1 = $3"; else fail "$1 = $3, expected $2"; fi
}

e2e_end() {
    if ((e2e_failures)); then
        echo "$e2e_failures check(s) failed; log kept in $E2E_DIR"
        exit 1
    fi
    echo "all checks passed"
}
