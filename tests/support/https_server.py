#!/usr/bin/env python3
"""A publisher's site for the update tests: serves a folder over HTTPS on 127.0.0.1 with the given
certificate, prints "READY <port>" once it listens, and serves until it is terminated.

usage: https_server.py <folder> <certificate.pem> <key.pem>
A file "<name>.break" beside a served file makes the server send only half of it and close the
connection, as a broken download does.
"""
import functools
import http.server
import os
import ssl
import sys


class Handler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, format, *args):
        pass

    def do_GET(self):
        path = self.translate_path(self.path)
        if os.path.isfile(path + ".break"):
            with open(path, "rb") as served:
                data = served.read()
            self.send_response(200)
            self.send_header("Content-Length", str(len(data)))
            self.end_headers()
            self.wfile.write(data[: len(data) // 2])
            self.wfile.flush()
            self.close_connection = True
            return
        super().do_GET()


def main():
    folder, certificate, key = sys.argv[1:4]
    handler = functools.partial(Handler, directory=folder)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("READY %d" % server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
