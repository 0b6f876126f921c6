#!/usr/bin/env python3
"""Debian's exim as a mail server on loopback: exim_server.py FOLDER CERTIFICATE KEY starttls|tls

One exim for each connection, with a configuration and a spool of its own in FOLDER; it ends with its client. It
requires TLS and a login ("me", "swordfish"), and checks the syntax of header fields. Each mail that it keeps for
delivery is written to N.eml. Says its port.
"""

import os
import socketserver
import subprocess
import sys

folder, certificate, key, mode = sys.argv[1:]
spool = os.path.join(folder, "spool")
configuration = os.path.join(folder, "exim.conf")

# Root's exim takes mail as another user, who has to come by what it needs.
os.makedirs(spool)
for path, rights in ((folder, 0o755), (spool, 0o777), (os.path.dirname(certificate), 0o755), (key, 0o644)):
    os.chmod(path, rights)
with open(configuration, "w", encoding="utf-8") as file:
    file.write(f"""
primary_hostname = mail.example.org
spool_directory = {spool}
log_file_path = {spool}/%s.log
queue_only
tls_advertise_hosts = *
tls_certificate = {certificate}
tls_privatekey = {key}
auth_advertise_hosts = ${{if eq{{$tls_in_cipher}}{{}}{{}}{{*}}}}
acl_smtp_rcpt = recipient
acl_smtp_data = message
begin acl
recipient:
  accept authenticated = *
         encrypted = *
  deny
message:
  require verify = header_syntax
  accept
begin authenticators
plain:
  driver = plaintext
  public_name = PLAIN
  server_prompts = :
  server_condition = ${{if and{{{{eq{{$auth2}}{{me}}}}{{eq{{$auth3}}{{swordfish}}}}}}}}
  server_set_id = $auth2
""")
exim = ["/usr/sbin/exim4", "-C", configuration]


class Session(socketserver.BaseRequestHandler):
    def handle(self):
        tls = ["-tls-on-connect"] if mode == "tls" else []
        subprocess.run(exim + tls + ["-bs"], stdin=self.request, stdout=self.request, check=False)
        kept = subprocess.run(exim + ["-bpr"], capture_output=True, text=True, check=True).stdout.split("\n")
        for number, entry in enumerate(line for line in kept if "<" in line):
            mail = subprocess.run(exim + ["-Mvc", entry.split()[2]], capture_output=True, check=True).stdout
            with open(os.path.join(folder, f"{number}.eml.part"), "wb") as output:
                output.write(mail.replace(b"\n", b"\r\n"))
            os.rename(output.name, os.path.join(folder, f"{number}.eml"))


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True


server = Server(("127.0.0.1", 0), Session)
print(f"port {server.server_address[1]} ready", flush=True)
server.serve_forever()
