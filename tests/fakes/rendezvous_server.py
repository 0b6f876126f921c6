#!/usr/bin/env python3
"""A stand-in for the rendezvous service: accepts registrations, and names the peers it was given.

    rendezvous_server.py ADDRESS PORT [PEER:PORT...]

Prints "listening", and then "registered MAPPED_IP MAPPED_PORT NAT_TYPE" for each registration of a server.
"""
import http.server
import re
import sys

ADDRESS, PORT = sys.argv[1], int(sys.argv[2])
PEERS = [peer.split(":") for peer in sys.argv[3:]]


class Service(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        form = self.rfile.read(int(self.headers["Content-Length"])).decode()
        fields = dict(re.findall(r'name="(\w+)"\r\n\r\n(.*?)\r\n', form))
        reply = "OK"
        if self.path.endswith("/P2P/IntroducerWS.aspx"):
            print("registered", fields["mapped_ip"], fields["mapped_port"], fields["nat_type"], flush=True)
        elif self.path.endswith("/P2P/MatchWS.aspx"):
            introducers = "".join(f'<Introducer gateway_ip="{ip}" mapped_port="{port}"/>' for ip, port in PEERS)
            reply = f"OK <Result>{introducers}</Result>"
        body = reply.encode()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer((ADDRESS, PORT), Service)
print("listening", flush=True)
server.serve_forever()
