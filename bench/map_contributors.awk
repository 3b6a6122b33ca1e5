# Reads a GNU ld map (-Wl,-Map) and prints, per input object, the bytes it brings
# into the image's sections (not .bss, not debug information): "bytes object".
/^Linker script and memory map/ { f = 1; next }
!f { next }
/^ [^ *]/ && NF == 1 { pending = $1; next }
/^ [^ *]/ && NF >= 4 && $2 ~ /^0x/ && $3 ~ /^0x/ { add($1, $3, $4); pending = ""; next }
/^  +0x/ && NF == 3 && pending != "" && $2 ~ /^0x/ { add(pending, $2, $3) }
{ pending = "" }
function add(section, size, file,   n) {
    if (section ~ /^\.(bss|debug)/ || section ~ /COMMON/) return
    n = hex(size)
    sub(/^.*\//, "", file)
    total[file] += n
}
END { for (file in total) printf "%d %s\n", total[file], file }
function hex(s,   i, n) {
    n = 0
    s = tolower(substr(s, 3))
    for (i = 1; i <= length(s); ++i) n = n * 16 + index("0123456789abcdef", substr(s, i, 1)) - 1
    return n
}
