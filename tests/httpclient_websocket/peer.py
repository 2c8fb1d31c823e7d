"""The WebSocket server the client's tests talk to: Debian's python3-websockets
on 127.0.0.1, an ephemeral port, one behaviour per path. Prints "port N" once
listening, then one "closed CODE REASON" line for every connection the client
closes, so that a test can see the close code that reached the server.

    /usr/bin/python3 peer.py [--cert CERT --key KEY]

Paths:
  /echo            sends every message back, text as text, binary as binary
  /fragmented      sends "abcdef" in the fragments "ab", "cd", "ef"
  /ping            pings the client, then sends "pong received"
  /headers         sends the value of the request's X-Test header
  /close/CODE      closes with CODE and the reason "bye" after one message
  /drop            sends "hello N" (N counts connections), drops the TCP
                   connection without a close frame when it receives "drop"
  /raw/NAME        after one message, writes a frame a server must not send:
                   masked, bad-utf8, reserved-bit, unknown-opcode, long-ping
  /forbidden       refuses the handshake with 403
"""

import argparse
import asyncio
import http
import ssl
import sys

import websockets

RAW_FRAMES = {
    "masked": b"\x81\x81\x01\x02\x03\x04" + bytes([ord("x") ^ 1]),
    "bad-utf8": b"\x81\x03ok\xff",
    "reserved-bit": b"\xc1\x00",
    "unknown-opcode": b"\x83\x00",
    "long-ping": b"\x89\x7e\x00\x7e" + b"p" * 126,
}

connections = 0


def report(ws):
    print(f"closed {ws.close_code} {ws.close_reason}", flush=True)


async def handler(ws, path):
    global connections
    connections += 1
    try:
        if path == "/echo":
            async for message in ws:
                await ws.send(message)
        elif path == "/fragmented":
            await ws.send(["ab", "cd", "ef"])
        elif path == "/ping":
            await asyncio.wait_for(await ws.ping(), 10)
            await ws.send("pong received")
        elif path == "/headers":
            await ws.send(ws.request_headers.get("X-Test", ""))
        elif path.startswith("/close/"):
            await ws.recv()
            await ws.close(int(path[len("/close/"):]), "bye")
        elif path == "/drop":
            await ws.send(f"hello {connections}")
            async for message in ws:
                if message == "drop":
                    ws.transport.abort()
                    return
        elif path.startswith("/raw/"):
            await ws.recv()
            ws.transport.write(RAW_FRAMES[path[len("/raw/"):]])
        await ws.wait_closed()
    except websockets.ConnectionClosed:
        pass
    report(ws)


async def refuse(path, headers):
    if path == "/forbidden":
        return http.HTTPStatus.FORBIDDEN, [], b"forbidden\n"
    return None


async def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--cert")
    parser.add_argument("--key")
    args = parser.parse_args()
    context = None
    if args.cert:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(args.cert, args.key)
    async with websockets.serve(handler, "127.0.0.1", 0, ssl=context, process_request=refuse,
                                max_size=None, ping_interval=None, compression=None) as server:
        print(f"port {server.sockets[0].getsockname()[1]}", flush=True)
        await asyncio.Future()


if __name__ == "__main__":
    try:
        asyncio.run(main())
    except KeyboardInterrupt:
        sys.exit(0)
