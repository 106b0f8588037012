# Reads the registry, then the sources that define its functions; prints a table row a registry row.

function state(name,   text, is_empty) {
    if (!(name in body))
        return "not found"
    text = body[name]
    is_empty = text ~ /^[ \t]*return 0;[ \t]*$/
    if (file[name] ~ /^platform\//)
        return is_empty ? "library, not settled" : "library"
    if (text ~ /RunOnce/ && comment[name] ~ /^Not settled:/)
        return "once-only flag, body not settled"
    if (comment[name] ~ /^Not settled:/)
        return is_empty ? "not settled" : "body, rest not settled"
    if (comment[name] ~ /^Nothing to do:/)
        return "nothing to do"
    if (is_empty)
        return "no body"
    return file[name] ~ /library_rows\.cpp$/ ? "library" : "body"
}

function note(name) {
    return comment[name] ~ /^Not settled:/ ? substr(comment[name], 14) : ""
}

FNR == 1 { inner = namespace = text = ""; function_name = "" }

# The registry: "{2210, 0, UpdateEmapLocation},".
FILENAME ~ /registry\.cpp$/ {
    if ($0 ~ /^ *\{ *[0-9]+, 0, [A-Za-z0-9_:]+\},$/ && $0 !~ /nullptr/) {
        line = $0
        gsub(/[{},]/, " ", line)
        split(line, field, " ")
        threshold[++rows] = field[1]
        row[rows] = field[3]
    }
    next
}

# Inside a function, up to the brace that closes it.
function_name != "" {
    if ($0 ~ /^\}/) {
        body[function_name] = text
        function_name = ""
    } else {
        text = text $0
    }
    next
}

# Functions of the same names that do a once-only migration's work, and helpers, are not rows.
/^namespace (once )?\{/ { inner = inner "x" }
/^\}  \/\/ namespace( once)?$/ { inner = substr(inner, 2) }
inner != "" { next }

/^namespace [A-Za-z]+ \{/ { namespace = $2 == "migrations" ? "" : $2 "::" }
/^\}  \/\/ namespace [A-Za-z]+$/ { namespace = "" }

# The comment before a function is one sentence or more, on lines of its own.
/^\/\/ / { said = said == "" ? substr($0, 4) : said " " substr($0, 4); next }

/^int [A-Za-z0-9_:]+\(\) \{/ {
    name = $2
    sub(/\(.*/, "", name)
    name = namespace name
    file[name] = FILENAME
    comment[name] = said
    said = text = ""
    if ($0 ~ /\}$/) {
        sub(/^[^{]*\{/, "")
        sub(/\}$/, "")
        body[name] = $0
    } else {
        function_name = name
    }
    next
}

{ said = "" }

END {
    print "# Migrations"
    print ""
    print "Every migration in the order in which they run; one runs when the build that was installed before lies"
    print "below its threshold, or always when that is 0. Made from the source by `scripts/list-migrations --update`."
    print ""
    print "- body: does its work."
    print "- library: calls an operation of the package's libraries."
    print "- once-only flag, body not settled: sets its key in settings.conf and does nothing more."
    print "- not settled: what it concerns is known, what it does is not; it does nothing."
    print ""
    print "| Threshold | Migration | File | State | Not settled |"
    print "|---:|---|---|---|---|"
    for (i = 1; i <= rows; i++) {
        name = row[i]
        count[state(name)]++
        printf "| %s | `%s` | %s | %s | %s |\n", threshold[i], name, file[name], state(name), note(name)
    }
    print ""
    printf "%d rows", rows
    split("body;body, rest not settled;library;library, not settled;once-only flag, body not settled;not settled;nothing to do;no body;not found", order, ";")
    for (i = 1; i in order; i++)
        if (order[i] in count)
            printf "; %s: %d", order[i], count[order[i]]
    print "."
}
