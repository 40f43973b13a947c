# Prints a CSV file (RFC 4180, one record per line) as a table aligned on blanks, for a terminal:
#
#   awk -f examples/frontal/tools/print-table.awk build/demo/ttf.csv
#
# Quoted fields lose their quotes ("a ""b""" prints as a "b"); a line starting with '#' (the comment
# of a cancelled run) is printed as it stands. Plain awk, so that `make demo` needs nothing more.

function split_csv(line, fields,    n, i, c, field, quoted) {
    n = 0
    field = ""
    quoted = 0
    for (i = 1; i <= length(line); i++) {
        c = substr(line, i, 1)
        if (quoted) {
            if (c == "\"" && substr(line, i + 1, 1) == "\"") {
                field = field "\""
                i++
            } else if (c == "\"") {
                quoted = 0
            } else {
                field = field c
            }
        } else if (c == "\"") {
            quoted = 1
        } else if (c == ",") {
            fields[++n] = field
            field = ""
        } else {
            field = field c
        }
    }
    fields[++n] = field
    return n
}

{
    sub(/\r$/, "")
    lines[NR] = $0
    if ($0 ~ /^#/)
        next
    n = split_csv($0, fields)
    for (i = 1; i <= n; i++)
        if (length(fields[i]) > width[i])
            width[i] = length(fields[i])
}

END {
    for (r = 1; r <= NR; r++) {
        if (lines[r] ~ /^#/) {
            print lines[r]
            continue
        }
        n = split_csv(lines[r], fields)
        out = ""
        for (i = 1; i <= n; i++)
            out = out (i < n ? sprintf("%-" width[i] "s  ", fields[i]) : fields[i])
        print out
    }
}
