# Writes a source file that includes the given public header, twice and nothing else, and holds each
# example of the header's comments in a function of its own. It compiles when the header stands alone
# and its examples need no other header.
#
#     awk -f examples.awk -v header=kova/core/Path.h -v need=1 include/kova/core/Path.h
#
# An example that describes a type (with KOVA_FIELDS, KOVA_ENUM or the functions that they define) stands
# in a namespace instead, because a function cannot hold the description.
#
# An example is a run of lines that a "///" comment indents by four more blanks and of which at least
# one ends a statement; a run without a statement is a grammar or a table. With `need` the header must
# have an example, with `need=0` it must not; without `need` either will do.

function endBlock() {
    if (isExample) {
        ++examples
        open = "namespace {\n[[maybe_unused]] void example%d() {"
        if (block ~ /KOVA_FIELDS|KOVA_ENUM|kovaFields|kovaEnumerators/) {
            open = "namespace {\nnamespace example%d {"
        }
        printf "\n" open "\n", examples
        printf "#line %d \"%s\"\n%s}\n}  // namespace\n", first, FILENAME, block
    }
    block = ""
    isExample = 0
}

function refuse(message) {
    printf "%s:%d: %s\n", FILENAME, FNR, message > "/dev/stderr"
    failed = 1
}

BEGIN { printf "#include \"%s\"\n#include \"%s\"\n", header, header }

/^ *\/\/\/     / {
    if (block == "") {
        first = FNR
    }
    line = $0
    sub(/^ *\/\/\/ /, "", line)
    block = block line "\n"
    if (line ~ /; *(\/\/.*)?$/) {
        isExample = 1
    }
    next
}
{ endBlock() }
/^ *\/\/\/.*([@\\]code|```)/ { refuse("an example is indented by four blanks, not marked") }
END {
    endBlock()
    if (need == "1" && !examples) {
        refuse("this header has no example of its use")
    }
    if (need == "0" && examples) {
        refuse("this header has an example: take it off the list of those without")
    }
    exit failed
}
