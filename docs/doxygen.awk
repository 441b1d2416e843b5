# Marks up the ordinary comments of the public headers for Doxygen.
#
# A comment at the start of a line describes every declaration from there to the next empty line or comment,
# so these become a group that shares its text. "Errors:" and its like open paragraphs. A comment that only
# names a section stays as it is.

FNR == 1 && sub("^/\\* q[a-z]+/[a-z0-9_]+\\.h - ", " * ") {
    print "/** @file"
    print
    next
}

# The headers for C++ have comments of single lines.
FILENAME ~ /\.hpp$/ {
    if (FNR == 1)
        sub(/^\/\/ [a-z\/.]+ - /, "/// @file\n///\n/// ")
    if (!sub(/^ *\/\/ /, "&/ "))
        sub(/[;,] +\/\/ /, "&/< ")
    gsub("// /", "///")
    print
    next
}

/^\/\* / && !/^\/\* -+ .* -+ \*\/$/ {
    endGroup()
    comment = "/** " substr($0, 4)
    while (comment !~ /\*\/$/ && (getline line) > 0)
        comment = comment "\n" line
    gsub("\n \\* [A-Z][a-z]+: +", "\n *\n&", comment)
    getline
    inGroup = !/^(typedef struct|struct|static|#if)/
    if (inGroup)
        print "/**@{*/"
    print comment
}

/^$/ {
    endGroup()
}

{
    if (/^ .*[;,] +\/\* /)
        sub("/\\* ", "/**< ")
    print
}

function endGroup()
{
    if (inGroup)
        print "/**@}*/"
    inGroup = 0
}
