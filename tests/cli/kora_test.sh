#!/usr/bin/env bash
# Usage: kora_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail

source_folder=$1
export KORA_BUILD=$2 KORA_JAVA_OPTS="-ea -XX:TieredStopAtLevel=1"
unset KORA_APP KORA_STORE KORA_LOG_LEVEL KORA_DATA_ENDPOINTS XDG_DATA_HOME
JAVA_HOME=$(dirname "$(dirname "$JAVA")")
export JAVA_HOME
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export KORA_DATA_HOME=$folder/home
cd "$folder"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

kora() { "$source_folder/bin/kora" "$@"; }

# expect STATUS STDOUT STDERR_PATTERN COMMAND...: the command's status, its exact output and what its errors match;
# an empty pattern wants no errors at all, and there is one line of them at most.
expect() {
  local status=0 out err wanted_status=$1 wanted_out=$2 wanted_err=$3
  shift 3
  out=$("$@" 2>err) || status=$?
  err=$(<err)
  [[ $status == "$wanted_status" ]] || fail "$*: status $status, not $wanted_status: $err"
  [[ $out == "$wanted_out" ]] || fail "$*: printed '$out', not '$wanted_out'"
  if [[ -z $wanted_err ]]; then
    [[ -z $err ]] || fail "$*: wrote to standard error: $err"
  else
    [[ $err =~ $wanted_err ]] || fail "$*: '$err' does not match '$wanted_err'"
    [[ $(wc -l <err) == 1 ]] || fail "$*: more than one line of errors: $err"
  fi
}

single_records() {
  expect 1 '' "^kora: store 'default' of application 'kora': There is no store" kora get a
  expect 0 '' '' kora put greeting 'Hello, Wörld 😀'
  expect 0 'Hello, Wörld 😀' '' env LC_ALL=C "$source_folder/bin/kora" get greeting
  expect 0 '' '' kora put -t int answer 42
  expect 0 $'int\t42' '' kora get -t answer
  expect 0 '' '' kora put -t bytes raw AP8=
  expect 0 $'answer\tint\t42\nraw\tbytes\tAP8=' '' bash -c "'$source_folder/bin/kora' ls -l | tail -n +1 | grep -v greeting"
  expect 0 'greeting' '' kora ls gr
  expect 1 '' "No value is stored under 'absent'" kora get absent
  expect 1 '' "nothing was removed: no value is stored under 'absent'" kora rm answer absent
  expect 0 '' '' kora rm answer raw
  expect 0 'greeting' '' kora ls
  expect 0 '' '' kora --store other put $'tab\there' $'\e[31mred'
  expect 0 'tab\u0009here'$'\tstring\t''\u001b[31mred' '' kora ls -l --store other
  expect 0 '' '' kora --store put put ls get
  expect 0 'ls' '' kora --store other ls --store put
  expect 0 'ls' '' env KORA_STORE=put "$source_folder/bin/kora" --app kora ls
  expect 0 $'default\nother\nput' '' kora stores
  expect 0 '' '' kora --app another stores
  expect 0 '' '' kora --home "$folder/home2" stores
}

queries() {
  printf '%s' '{"fields":[{"field":"name","type":"string","mandatory":true},{"field":"age","type":"int"}],"indexes":["age"]}' >people.json
  expect 0 '' '' kora --store people schema people.json
  expect 0 '' '' kora --store people put ada '{"name":"Ada","age":36}'
  expect 0 '' '' kora --store people put bob '{"name":"Bob","age":17}'
  expect 1 '' 'type than in the schema' kora --store people put cleo '{"name":"Cleo","age":"7"}'
  expect 0 $'bob\nada' '' kora --store people query '{"order":"age"}'
  expect 0 $'ada\tstring\t{"name":"Ada","age":36}' '' kora --store people query -l '{"where":{"field":"age","ge":18}}'
  expect 0 '1' '' kora --store people count '{"where":{"field":"name","like":"B%"}}'
  expect 0 '2' '' kora --store people count
  expect 1 '' 'names a field that the schema does not have' kora --store people query '{"order":"height"}'
  expect 1 '' 'query is malformed' kora --store people count '{'
  echo '{"fields":[{"field":"name","type":"int"}]}' >people.json
  expect 1 '' 'schema differs' kora --store people schema people.json
  expect 1 '' "absent.json can't be read" kora --store people schema absent.json
}

backups() {
  expect 0 '' '' kora --store safe --encrypt put key value
  expect 1 '' 'encrypted \(--encrypt\)' kora --store safe get key
  expect 0 'value' '' kora --store safe --encrypt --read-only get key
  expect 1 '' 'can only be read' kora --store safe --encrypt --read-only put key other
  local from to made restored
  from=$(date +%s)
  expect 0 '' '' kora --store safe --encrypt backup
  to=$(date +%s)
  expect 0 '1 records, all well' '' kora --store safe --encrypt verify
  expect 0 'no damage was found; nothing was restored' '' kora --store safe --encrypt restore
  rm "$KORA_DATA_HOME"/kora/safe/MANIFEST-*
  expect 1 '' 'it can.t be opened' kora --store safe --encrypt verify
  restored=$(kora --store safe --encrypt restore)
  made=$(date -d "${restored#restored from the backup of }" +%s) || fail "restore: $restored"
  ((from <= made && made <= to)) || fail "restore: $restored"
  expect 0 'value' '' kora --store safe --encrypt get key
}

# Of a device that works alone; examples/three-devices shows more.
devices() {
  local self
  self=$(kora devices | sed -n 's/^\([0-9a-f]\{32\}\)\tthis\t.*\tunknown$/\1/p')
  [[ -n $self ]] || fail "devices: $(kora devices)"
  expect 0 "$self"$'\tthis\tdesk ü\tunknown' '' kora --device-name 'desk ü' devices
  expect 1 "$self"$'\tfailed\tno hub is configured' '' kora sync
  expect 1 $'other\tfailed\tno hub is configured' '' kora --store fresh sync --mode pull other
  expect 0 'fresh' '' bash -c "'$source_folder/bin/kora' stores | grep fresh"
  printf '%s\n' 'put a 1' 'sync other' 'devices' | expect 1 $'other\tfailed\tno hub is configured\n'"$(kora devices)" '' kora shell
  expect 2 '' "Invalid value for option '--mode': expected pull, push or push-pull" kora sync --mode both
  expect 1 '' 'cluster.endpoints' kora --endpoints nowhere devices
  expect 1 "$(kora devices)" "the other devices can't be seen: hub unavailable" kora --endpoints 127.0.0.1:1 devices
  printf 'put own 1\n' | expect 0 '' '' kora --store watched watch --remote
}

wrong_use() {
  expect 2 '' '^kora: Missing required subcommand' kora
  expect 2 '' "^kora: Missing required parameter: 'VALUE'" kora put key
  expect 2 '' "Unknown option: '--nonsense'" kora get --nonsense key
  expect 2 '' '^kora: Missing value of option --store' kora ls --store
  expect 2 '' "^kora: option '--store' should be specified only once" kora ls --store a --store put
  expect 2 '' "Invalid value for option '--format'" kora import --format xml file
  expect 1 '' "^kora: 'many' is no int" kora put -t int key many
  expect 1 '' "^kora: unknown type 'colour'" kora put -t colour key red
  expect 1 '' "'yes' is no boolean" kora put -t boolean key yes
  expect 1 '' 'key' kora put '' value
  expect 1 '' 'identifier' kora --store ../escape put key value
  expect 1 '' "can't be (opened|read|written)|home|There is" kora --home /dev/null/x put key value
  kora --help | grep -q 'Commands:' || fail 'no help'
  kora import --help | grep -q 'UNICODE' || fail 'no help of a command'
}

# All types, their extremes, and texts that are hard to carry.
write_difficult_records() {
  cat >difficult.jsonl <<'JSON'
{"key":"boolean","type":"boolean","value":true}
{"key":"bytes","type":"bytes","value":"AAECgP8="}
{"key":"bytes/empty","type":"bytes","value":""}
{"key":"double","type":"double","value":-1.7976931348623157E308}
{"key":"double/nan","type":"double","value":"NaN"}
{"key":"float","type":"float","value":1.4E-45}
{"key":"float/infinite","type":"float","value":"-Infinity"}
{"key":"int","type":"int","value":-2147483648}
{"key":"long","type":"long","value":9223372036854775807}
{"key":"number 9","type":"9","value":"AQI="}
{"key":"string","type":"string","value":"a,\"b\";\t\\N\r\nline 2\rline 3\n"}
{"key":"string/blank","type":"string","value":"  "}
{"key":"string/empty","type":"string","value":""}
{"key":"string/hash","type":"string","value":"#no comment"}
{"key":"string/nul\u0000","type":"string","value":"a\u0000b"}
{"key":"string/😀","type":"string","value":"κόσμε 😀"}
JSON
}

round_trips() {
  write_difficult_records
  expect 0 'imported 16 records' '' kora --store first import difficult.jsonl
  expect 0 "$(<difficult.jsonl)" '' kora --store first export
  expect 0 'exported 16 records' '' kora --store first export all.csv
  expect 0 'imported 16 records' '' kora --store second import all.csv
  expect 0 "$(<difficult.jsonl)" '' kora --store second export --format jsonl
  expect 0 '{"key":"string/hash","type":"string","value":"#no comment"}' '' kora --store second export --prefix string/h

  echo '{"key":"lone \ud83d","value":"\ude00 alone"}' >lone.jsonl
  expect 0 'imported 1 records' '' kora --store lone import lone.jsonl
  expect 0 '{"key":"lone \uD83D","type":"string","value":"\uDE00 alone"}' '' kora --store lone export
  echo 'an earlier export' >kept.csv
  expect 1 '' 'characters that CSV can.t carry; --format jsonl can' kora --store lone export kept.csv
  expect 0 'an earlier export' '' cat kept.csv
  [[ -z $(find . -name '*.part') ]] || fail 'an unfinished export was left behind'
}

imports() {
  expect 0 'imported 34924 records' '' kora --store unicode import /usr/share/unicode/UnicodeData.txt
  expect 0 'GRINNING FACE;So;0;ON;;;;;N;;;;;' '' kora --store unicode get 1F600
  expect 0 "$(cut -d';' -f1 /usr/share/unicode/UnicodeData.txt | grep '^03' | LC_ALL=C sort)" '' kora --store unicode ls 03
  kora --store unicode stats >figures
  grep -qx 'records  34924' figures || fail "stats: $(<figures)"
  grep -qx 'keys     0000 to FFFFD' figures || fail "stats: $(<figures)"
  grep -qE '^files    [1-9][0-9]* of [1-9][0-9]{5,} bytes in .*/kora/unicode$' figures || fail "stats: $(<figures)"

  printf '\xef\xbb\xbfkey,value\r\na,1\r\n"b",2\r\n' | expect 0 'imported 2 records' '' kora --store bom import --format csv -
  expect 0 $'a\tstring\t1\nb\tstring\t2' '' kora ls -l --store bom
  printf '{"key":"s","value":"1"}\n\n{"key":"l","value":1}\n{"key":"d","value":1.5}\n{"key":"b","value":false}\n' |
    expect 0 'imported 4 records' '' kora --store untyped import --format jsonl -
  expect 0 $'b\tboolean\tfalse\nd\tdouble\t1.5\nl\tlong\t1\ns\tstring\t1' '' kora ls -l --store untyped
}

# bad NAME TEXT PATTERN: the import stops with an error that matches, after one good record, which is kept.
bad() {
  printf '%b' "$2" >"$1"
  expect 1 '' "$3.*; 1 records were imported before" kora --store "bad.$1" import "$1"
  expect 0 'good' '' kora --store "bad.$1" ls
}

bad_imports() {
  expect 1 '' '^kora: there is no file missing.csv' kora import missing.csv
  expect 1 '' 'the name does not tell the format' kora import /dev/null
  echo 'name,value' >header.csv
  expect 1 '' 'the header must name the columns key and value' kora import header.csv
  bad columns.csv 'key,value\ngood,1\nbad\n' 'line 3: .*columns'
  bad types.csv 'key,type,value\ngood,int,1\nbad,int,x\n' "line 3: 'x' is no int"
  bad json.jsonl '{"key":"good","value":1}\n{"key":"bad",\n' 'line 2: malformed JSON'
  bad twice.jsonl '{"key":"good","value":1}\n{"key":"a","key":"b","value":1}\n' 'line 2: .*[Dd]uplicate'
  bad member.jsonl '{"key":"good","value":1}\n{"key":"a","values":1}\n' "line 2: unknown member 'values'"
  bad nested.jsonl '{"key":"good","value":1}\n{"key":"a","value":{}}\n' 'line 2: the value is no string'
  head -n 1 /usr/share/unicode/UnicodeData.txt >UnicodeData.txt
  echo '0001;too short' >>UnicodeData.txt
  expect 1 '' 'line 2: this is no record of UnicodeData.txt.*; 1 records' kora --store bad.unicode import UnicodeData.txt
  printf 'key,value\na,\xff\n' >latin.csv
  expect 1 '' 'this is not UTF-8' kora import latin.csv
}

notifications() {
  local changes='{"change":"insert","key":"a","type":"string","value":"1"}
{"change":"insert","key":"b c","type":"string","value":"it'\''s"}
{"change":"update","key":"a","type":"int","value":7}
{"change":"delete","key":"b c","type":"string","value":"it'\''s"}'
  printf '%s\n' 'put a 1' 'begin' 'put never seen' 'rollback' '' "put 'b c' \"it's\"" 'begin' 'put -t int a 7' 'rm "b c"' 'commit' |
    expect 0 "$changes" '' kora --store watched watch
  printf '%s\n' 'jump' 'put x 1' |
    expect 1 '{"change":"insert","key":"x","type":"string","value":"1"}' "Unmatched argument.*'jump'" kora --store watched watch
}

# What a command acknowledged is there after its process was killed, and meanwhile the store is closed to others.
one_process_at_a_time() {
  coproc WATCH { exec "$source_folder/bin/kora" --store busy watch; }
  echo 'put k v' >&"${WATCH[1]}"
  read -r -t 30 -u "${WATCH[0]}" line || fail 'no notification'
  [[ $line == *'"key":"k"'* ]] || fail "notification: $line"
  expect 1 '' "can't be opened; is it in use by another process" kora --store busy get k
  local pid=$WATCH_PID
  kill -KILL "$pid"
  wait "$pid" 2>killed || true
  expect 0 v '' kora --store busy get k
}

progress_bar() {
  kora --store bar import /usr/share/unicode/UnicodeData.txt 2>err >/dev/null
  [[ ! -s err ]] || fail "a progress bar without a terminal: $(<err)"
  script -qec "'$source_folder/bin/kora' --store bar import /usr/share/unicode/UnicodeData.txt" terminal >/dev/null
  grep -q $'\033\\[K' terminal || fail 'no progress bar on a terminal'
}

# One command after another on a store that is opened once; what fails does not end it.
shell_commands() {
  printf '%s\n' 'get early' '# a comment' '' "put 'b c' \"it's\"" 'put -t int a 7' 'begin' 'rm a' 'ls' 'rollback' 'get -t a' 'get a' |
    expect 1 $'b c\nint\t7\n7' "^kora: store 'session' of application 'kora': There is no store" kora --store session shell
  printf '%s\n' 'ls -l' 'begin' 'put never seen' |
    expect 0 $'a\tint\t7\nb c\tstring\tit'\''s' '^kora: the transaction was not committed' kora --store session shell
  printf '%s\n' 'ls' 'exit' 'put never seen' | expect 0 $'a\nb c' '' kora --store session shell
  printf 'jump' | expect 1 '' "^kora: Unmatched argument.*'jump' \('--help' explains\)$" kora --store session shell
  printf '%s\n' 'help' | kora --store session shell | grep -q 'rollback' || fail 'no help in the shell'
}

# On a terminal: completion of a command, an option and a key, history, and the end by a key.
shell_on_a_terminal() {
  export XDG_STATE_HOME=$folder/state TERM=xterm
  coproc TERMINAL { script -qefc "'$source_folder/bin/kora' --store session shell" terminal; }
  await_text 'session> '
  printf 'put key/one 1\r' >&"${TERMINAL[1]}"
  await_text 'session> '
  printf 'ge\t --t\t key\t\r' >&"${TERMINAL[1]}"
  await_text $'string\t1'
  await_text 'session> '
  printf '\004' >&"${TERMINAL[1]}"
  wait "$TERMINAL_PID" || fail "the shell ended with status $?"
  grep -q 'put key/one 1' "$XDG_STATE_HOME/kora/history" || fail 'no history'
  [[ $(stat -c %a "$XDG_STATE_HOME/kora/history") == 600 ]] || fail 'others can read the history'
}

# await_text TEXT: reads on until the terminal has shown it.
await_text() {
  local shown='' character
  until [[ $shown == *"$1"* ]]; do
    IFS= read -r -d '' -N 1 -t 60 -u "${TERMINAL[0]}" character || fail "the terminal did not show '$1': $shown"
    shown+=$character
  done
}

single_records
queries
backups
devices
wrong_use
shell_commands
shell_on_a_terminal
round_trips
imports
bad_imports
notifications
one_process_at_a_time
progress_bar
