# Doxygen input filter. Adds a comment to a declaration without one if it follows from the context: a
# declaration directly below another one of the same name is an overload; "!=" directly below "==" is its
# negation; a function with "= default" is defaulted. A blank line or a comment ends the context. Line
# numbers are preserved. (Doxygen itself applies a comment between "@{" and "@}" to all names there.)

# Returns the name of the function that a line declares, or "".
function nameOf(line) {
    if (match(line, /operator *[^ A-Za-z0-9_(]+\(/) || match(line, /[A-Za-z_][A-Za-z0-9_]*\(/)) {
        return substr(line, RSTART, RLENGTH - 1)
    }
    return ""
}

function noteFor(name, line) {
    if (commented) {
        return ""
    }
    if (line ~ /= default;$/) {
        return "/** Defaulted. */ "
    }
    if (name != "" && name == former) {
        return "/** @overload */ "
    }
    return name == "operator!=" && former == "operator==" ? "/** Negation of `==`. */ " : ""
}

# Sets `state` to whether the declaration continues after this line, in its head or in its body.
function goOn(line) {
    if (line ~ /\{$/) {
        match(line, /^ */)
        end = (indent == "" ? substr(line, 1, RLENGTH) : indent) "}"
        state = "body"
    } else {
        state = line ~ /[;}]$/ ? "" : "head"
    }
}

function declare(line) {
    match(line, /^ */)
    indent = substr(line, 1, RLENGTH)
    sub(/ *\/\/.*$/, "", line)
    former = nameOf(line)
    commented = 0
    goOn(line)
}

state == "head" { print; line = $0; sub(/ *\/\/.*$/, "", line); goOn(line); next }
state == "body" { print; if ($0 == end || $0 == end ";") { state = "" } next }
/^ *\/\// { print; commented = 1; next }
/^ *$/ || /^ *(public|private|protected):/ || /^#/ { print; former = ""; commented = 0; next }
/^(namespace|class|struct|enum|union|\}|    (class|struct|enum|union|\}))/ {
    print
    former = ""
    commented = 0
    next
}
/^ *template </ {
    head = $0
    getline
    print noteFor(nameOf($0), $0) head
    print
    declare($0)
    next
}
{
    print noteFor(nameOf($0), $0) $0
    declare($0)
}
