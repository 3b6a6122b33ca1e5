# Shared steps of the end-to-end tests: run installers and tools under Wine in the test's
# prefix and check their logs and the registry in both views. Source it; call e2e_begin
# first. A failed check is printed and counted; e2e_end fails the test after them.
set -euo pipefail

E2E_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
WINE_RUN=$E2E_ROOT/scripts/wine-run
e2e_failures=0

# e2e_begin BUILD_DIR NAME FILE...: a fresh work folder E2E_DIR, the current one from
# then on, with the built FILEs in it.
e2e_begin() {
    E2E_DIR=$1/e2e/$2
    rm -rf "$E2E_DIR"
    mkdir -p "$E2E_DIR"
    (cd "$1" && cp "${@:3}" "$E2E_DIR/")
    cd "$E2E_DIR"
    export WINEPREFIX=${WINEPREFIX:?the Wine prefix comes from CTest}
}

# The Windows form of a host path (Wine maps / to Z:).
winpath() {
    printf 'Z:%s' "${1//\//\\}"
}

# e2e_package MSI TITLE: compiles a per-machine package without files (a fresh
# ProductCode each time) whose body comes from stdin.
e2e_package() {
    cat >"$E2E_DIR/$1.wxs" <<HEAD
<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="*" Name="$2" Language="1033" Version="1.0.0" Manufacturer="Varen"
      UpgradeCode="$(python3 -c 'import sys, uuid; print(str(uuid.uuid5(uuid.NAMESPACE_URL, sys.argv[1])).upper())' "$2")">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine"/>
$(cat)
    <Feature Id="Main" Level="1"/>
  </Product>
</Wix>
HEAD
    (cd "$E2E_DIR" && wixl -a x64 -o "$1.msi" "$1.wxs")
}

# e2e_msiexec LOG /i|/x MSI: runs msiexec quietly, checking its exit code; its verbose
# log, without carriage returns, goes to E2E_DIR/LOG.
e2e_msiexec() {
    local status=0
    "$WINE_RUN" msiexec "$2" "$(winpath "$E2E_DIR/$3.msi")" /qn /l*v "$(winpath "$E2E_DIR/$1.raw")" || status=$?
    tr -d '\r' <"$E2E_DIR/$1.raw" >"$E2E_DIR/$1"
    expect_status "msiexec $2 $3" 0 "$status"
}

# e2e_reg "VIEW..." ARGS...: the prefix's reg.exe in each of the given views (32, 64).
e2e_reg() {
    local view
    for view in $1; do "$WINE_RUN" reg "${@:2}" "/reg:$view" 2>/dev/null | tr -d '\r'; done
}

fail() {
    echo "FAILED: $*"
    e2e_failures=$((e2e_failures + 1))
}

# expect_status WHAT EXPECTED ACTUAL
expect_status() {
    [[ $2 == "$3" ]] || fail "$1 = $3, expected $2"
}

# expect_lines LOG: the log holds every line of stdin as one whole line.
expect_lines() {
    local line
    while IFS= read -r line; do
        grep -qxF -- "$line" "$E2E_DIR/$1" || fail "$1 lacks the line: $line"
    done
}

# Clears the suite's keys from the shared prefix; fails the test if a check failed.
e2e_end() {
    e2e_reg "32 64" delete 'HKLM\SOFTWARE\ORX Technologies' /f >/dev/null || true
    ((e2e_failures == 0)) || { echo "$e2e_failures check(s) failed; logs kept in $E2E_DIR"; exit 1; }
    echo "all checks passed"
}
