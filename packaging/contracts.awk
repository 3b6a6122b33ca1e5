# Reads docs/actions.md and prints one line per "### Name" section: the name, the
# phase, the effect and the returns, tab-separated, markdown removed. A field written "as `Other`"
# takes the other section's text. With -v header=FILE it writes instead a C++ header
# of the one-line contracts that varen-ca-run --help prints.
function clean(text) {
    gsub(/\*\*|`/, "", text)
    gsub(/[ \t]+/, " ", text)
    sub(/^ /, "", text)
    sub(/ $/, "", text)
    return text
}
function store(   n, names, i) {
    if (section == "" || field == "") return
    n = split(field, names, /, /)
    for (i = 1; i <= n; ++i) text[section, names[i]] = value
    field = ""
}
# The first sentence of a field.
function sentence(s) {
    sub(/\. .*/, "", s)
    sub(/\.$/, "", s)
    return s
}
# A field that refers to another section ("as `Other`", or a section that is only
# "As `Other`...") takes that one's text; with
# "whole" only when it says nothing more ("as `Other`, with ..." differs from it).
function resolve(name, key, whole,   s, other) {
    s = (name, key) in text ? text[name, key] : text[name, "As"]
    if (match(s, /^[Aa]s `[A-Za-z0-9_]+`/) && (!whole || substr(s, RLENGTH + 1) ~ /^\.?$/)) {
        other = substr(s, 5, RLENGTH - 5)
        if (other != name && (other, key) in text) return resolve(other, key, whole)
    }
    return s
}
function shorten(s) {
    if (length(s) <= 150) return s
    s = substr(s, 1, 147)
    sub(/ [^ ]*$/, "", s)
    return s "..."
}
function cstring(s) {
    return "LR\"~(" s ")~\""
}
/^##/ { store(); section = "" }
/^### / { section = $2; order[++count] = section; next }
section != "" && /^- \*\*/ {
    store()
    field = $0
    sub(/^- /, "", field)
    sub(/: .*/, "", field)
    gsub(/\*\*/, "", field)
    value = $0
    sub(/^[^:]*: /, "", value)
    next
}
# A section written "- As `Other`, with ..." refers to the other one in every field.
section != "" && /^- As `/ {
    store()
    field = "As"
    value = substr($0, 3)
    next
}
section != "" && field != "" && /^  / { value = value " " $0; next }
{ store() }
END {
    store()
    for (i = 1; i <= count; ++i) {
        name = order[i]
        phase[name] = sentence(clean(resolve(name, "Phase", 0)))
        effect[name] = resolve(name, "Effect", 1)
        gsub(/ \([^)]*\)/, "", effect[name]) # remarks, for one line
        effect[name] = sentence(clean(effect[name]))
    }
    if (header == "") {
        for (i = 1; i <= count; ++i) {
            name = order[i]
            printf "%s\t%s\t%s\t%s\n", name, phase[name], effect[name], clean(resolve(name, "Returns", 0))
        }
        exit
    }
    print "// Generated from docs/actions.md by packaging/contracts.awk: every export with its" > header
    print "// phase and the first sentence of its effect, as varen-ca-run --help prints them." > header
    print "#pragma once" > header
    print "" > header
    print "struct ActionContract {" > header
    print "    const wchar_t* szName;" > header
    print "    const wchar_t* szPhase;" > header
    print "    const wchar_t* szEffect;" > header
    print "};" > header
    print "" > header
    print "inline constexpr ActionContract kContracts[] = {" > header
    for (i = 1; i <= count; ++i) {
        name = order[i]
        printf "    {%s, %s, %s},\n", cstring(name), cstring(phase[name]), cstring(shorten(effect[name])) > header
    }
    print "};" > header
}
