# Completion of the program kova for bash. The program itself prints the candidates.

# Sets `words` to the words up to the cursor, without the name of the program, and `prefix` to the
# part of the last word in front of COMP_WORDS[COMP_CWORD]. Bash breaks words at ':' and '='; the
# pieces are joined again where the line has no space between them.
_kova_words() {
    local line=$COMP_LINE piece at=0
    words=()
    prefix=
    for ((at = 0; at <= COMP_CWORD; at++)); do
        piece=${COMP_WORDS[at]}
        if ((at > 1)) && [[ $line == "$piece"* ]] && [[ -n $piece || -n $line ]] && [[ $line != [[:space:]]* ]]; then
            prefix=${words[-1]}
            words[-1]+=$piece
        else
            prefix=
            words+=("$piece")
        fi
        line=${line#"${line%%[![:space:]]*}"}
        line=${line#"$piece"}
    done
    words=("${words[@]:1}")
}

_kova() {
    local words prefix candidate
    _kova_words
    local -a plain=("${words[@]//[\'\"\\]/}")
    COMPREPLY=()
    while IFS= read -r candidate; do
        COMPREPLY+=("${candidate#"${prefix//[\'\"\\]/}"}")
    done < <("${COMP_WORDS[0]}" complete -- "${plain[@]}" 2>/dev/null)
    if [[ ${COMPREPLY[0]} == *[\$/:=] ]]; then
        compopt -o nospace 2>/dev/null
    fi
}

complete -o default -F _kova kova
