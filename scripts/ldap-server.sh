#!/usr/bin/env bash
# A throwaway OpenLDAP directory in a folder of its own, for tests and benchmarks.
#
#   scripts/ldap-server.sh start DIR     prints DIR; the server runs
#   scripts/ldap-server.sh stop DIR
#   scripts/ldap-server.sh restart DIR   the same server again, on its ports
#
# The system's own slapd (its service and /etc/ldap) is left alone: this one runs the slapd
# binary with a configuration, a database and a test CA of its own in DIR, on two free ports
# of 127.0.0.1: plain LDAP (StartTLS offered) and LDAPS. What a client needs is in DIR:
#   url        ldap://127.0.0.1:PORT        ldaps-url  ldaps://127.0.0.1:PORT
#   ca.pem     the test CA that signed the server's certificate (for 127.0.0.1 and localhost)
#   base       dc=nexo,dc=test, with ou=people and ou=groups below it
#   admin-dn   the manager (cn=admin,dc=nexo,dc=test), admin-pw its password
# The memberof overlay keeps memberOf on users of groupOfNames groups, so membership can be
# read from the group (member, memberUid) or from the user (memberOf). A plain search returns
# at most 500 entries, as a directory's default limit does; the paged-results control has no
# total limit.
set -euo pipefail
cmd=${1:-}; dir=${2:-}
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: $0 start|stop|restart DIR" >&2; exit 2; }
slapd=/usr/sbin/slapd
[ -x "$slapd" ] || { echo "slapd is not installed (scripts/setup.sh installs it)" >&2; exit 1; }
base="dc=nexo,dc=test"
admin="cn=admin,$base"
adminpw="nexo_ldap_titok"

free_port() {
  local p
  for _ in $(seq 1 50); do
    p=$(( 20000 + RANDOM % 20000 ))
    (exec 3<>"/dev/tcp/127.0.0.1/$p") 2>/dev/null && continue
    echo "$p"; return 0
  done
  return 1
}

server_start() {
  "$slapd" -f "$dir/slapd.conf" -h "$(cat "$dir/url") $(cat "$dir/ldaps-url")" >"$dir/slapd.log" 2>&1 || return 1
  # slapd forks and writes its pid; wait until it answers.
  for _ in $(seq 1 100); do
    ldapsearch -x -H "$(cat "$dir/url")" -b "" -s base -LLL namingContexts >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  return 1
}

make_ca() {
  (
    cd "$dir"
    openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=NexoFrame teszt CA" \
      -keyout ca.key -out ca.pem >/dev/null 2>&1
    openssl req -newkey rsa:2048 -nodes -subj "/CN=127.0.0.1" -keyout server.key -out server.csr >/dev/null 2>&1
    printf 'subjectAltName=IP:127.0.0.1,DNS:localhost\nbasicConstraints=CA:FALSE\n' >server.ext
    openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 30 \
      -extfile server.ext -out server.pem >/dev/null 2>&1
    chmod 600 server.key ca.key
  )
}

case "$cmd" in
start)
  mkdir -p "$dir/db"
  dir=$(cd "$dir" && pwd)
  make_ca
  echo "$base" >"$dir/base"; echo "$admin" >"$dir/admin-dn"; echo "$adminpw" >"$dir/admin-pw"
  cat >"$dir/slapd.conf" <<EOF
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
include /etc/ldap/schema/nis.schema
pidfile $dir/slapd.pid
argsfile $dir/slapd.args
modulepath /usr/lib/ldap
moduleload back_mdb
moduleload memberof
loglevel none
TLSCACertificateFile $dir/ca.pem
TLSCertificateFile $dir/server.pem
TLSCertificateKeyFile $dir/server.key
sizelimit size.soft=500 size.hard=500 size.prtotal=unlimited
access to attrs=userPassword by self write by anonymous auth by * none
access to * by users read by * none
database mdb
maxsize 1073741824
suffix "$base"
rootdn "$admin"
rootpw $adminpw
directory $dir/db
dbnosync
index objectClass,uid,cn,member,memberUid,memberOf eq
overlay memberof
memberof-refint true
EOF
  started=
  for _ in 1 2 3 4 5 6 7 8; do
    echo "ldap://127.0.0.1:$(free_port)" >"$dir/url"
    echo "ldaps://127.0.0.1:$(free_port)" >"$dir/ldaps-url"
    if server_start; then started=1; break; fi
    [ -f "$dir/slapd.pid" ] && kill "$(cat "$dir/slapd.pid")" 2>/dev/null || true
  done
  [ -n "$started" ] || { cat "$dir/slapd.log" >&2; echo "the LDAP test server did not start" >&2; exit 1; }
  ldapadd -x -H "$(cat "$dir/url")" -D "$admin" -w "$adminpw" >/dev/null <<EOF
dn: $base
objectClass: dcObject
objectClass: organization
dc: nexo
o: NexoFrame teszt

dn: ou=people,$base
objectClass: organizationalUnit
ou: people

dn: ou=groups,$base
objectClass: organizationalUnit
ou: groups
EOF
  echo "$dir"
  ;;
stop)
  if [ -f "$dir/slapd.pid" ]; then
    pid=$(cat "$dir/slapd.pid")
    kill "$pid" 2>/dev/null || true
    for _ in $(seq 1 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  fi
  ;;
restart)
  server_start || { cat "$dir/slapd.log" >&2; exit 1; }
  ;;
*)
  echo "usage: $0 start|stop|restart DIR" >&2; exit 2 ;;
esac
