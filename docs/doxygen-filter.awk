# Doxygen's view of headers and guides. Lines keep their numbers.

# An operator without a comment of its own has that of its section, the lines under "\name", so it gets an empty one
# here, whose row is not shown. In a section without such lines it gets none, and Doxygen reports it. A defaulted member
# and the one of a hash need no words.
/^ *\/\/\/ \\name / { described = 0; opening = 1 }
opening && /^ *\/\/\/ [^\\]/ { described = 1 }
/^ *\/\/\/ \\\{/ { opening = 0 }
/^ *\/\/\/ \\\}|^};/ { described = 0 }
/^struct std::hash</ { described = 1 }
previous !~ /^ *\/\/\/ / && !/\/\/\/</ {
    if (/= default;/ || (described && /^    [a-zA-Z].* operator[^ ]+\(/)) {
        sub(/^ */, "&/** <span class=\"section\">\\&zwnj;</span> */ ")
    }
}
{ previous = /\/\/\/ \\[{}]/ ? "" : $0 }

# Doxygen takes the "::" at the start of an IPv6 address for a name's, "$(name)" for a variable of the environment, and
# shows the backslash before a "|" in a table.
{
    text = ""
    while (match($0, /`::[a-f][^`]*`|`[^`|]*\\\|[^`]*`|`[^`]*\$\([A-Za-z]+\)[^`]*`/)) {
        span = substr($0, RSTART + 1, RLENGTH - 2)
        sub(/^::/, "\\::", span)
        gsub(/\$\([A-Za-z]+\)/, "\\\\&", span)
        text = text substr($0, 1, RSTART - 1) "<code>" span "</code>"
        $0 = substr($0, RSTART + RLENGTH)
    }
    print text $0
}
