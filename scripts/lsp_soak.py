#!/usr/bin/env python3
"""A long editing session against ostrel-lsp, to watch what hours of use do to the server.

A scripted editor opens FILES, takes out a block of lines from each and types it back character by
character (incremental didChange as Neovim sends it, now and then a backspace or an emoji), asks for an
inline completion after some keystrokes and cancels it at the next one as the Neovim plug-in does, asks for
the completion list, formats, and closes and reopens the files. The model is an HTTP server on loopback
that answers at once, with an error, by dropping the connection or slowly, in turns. Printed: the server's
resident memory, threads and open files as it goes, the latency of each kind of answer, and whether every
request got exactly one answer. Not part of ctest (a session takes minutes); --wrap runs the server under
valgrind or the like.

  scripts/lsp_soak.py --server build/apps/ostrel-lsp/ostrel-lsp --keys 5000 examples/*.ost
"""
import argparse
import http.server
import json
import os
import random
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import time

REPLIES = ["```ostrel\nresult = compute(value);\n```",
           "```ostrel\nfor k = 1:n\n    total = total + k;\nend\n```",
           "```ostrel\nif x > 0\n    y = 1;\nelse\n    y = -1;\nend\n```"]
MODES = ['ok', 'ok', 'error', 'ok', 'drop', 'ok', 'slow', 'ok']  # the model's behaviour, 250 keystrokes each


class Model:
    mode = 'ok'
    requests = 0
    closing = threading.Event()


class ModelHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'

    def log_message(self, *args):
        pass

    def do_POST(self):
        self.rfile.read(int(self.headers.get('Content-Length', '0')))
        Model.requests += 1
        mode = Model.mode
        if mode == 'drop':
            self.connection.shutdown(socket.SHUT_RDWR)
            self.close_connection = True
            return
        Model.closing.wait(5.0 if mode == 'slow' else 0.02)
        body = json.dumps({"choices": [{"message": {"role": "assistant",
                                                    "content": random.choice(REPLIES)}}]}).encode()
        try:
            self.send_response(500 if mode == 'error' else 200)
            self.send_header('Content-Type', 'application/json')
            self.send_header('Content-Length', str(len(body)))
            self.end_headers()
            self.wfile.write(body)
        except OSError:
            pass

    def handle(self):
        try:
            super().handle()
        except ConnectionError:
            pass  # the server cancelled the call


class ModelServer(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True


def utf16_length(text):
    return len(text.encode('utf-16-le')) // 2


class Editor:
    """The client end: sends requests, reads every message, times and counts the answers."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.lock = threading.Lock()
        self.pending, self.answers, self.latency, self.notified, self.results = {}, {}, {}, {}, {}
        self.waiting = {}
        self.unasked = 0
        self.next_id = 1
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        out = self.process.stdout
        while True:
            header = b''
            while not header.endswith(b'\r\n\r\n'):
                byte = out.read(1)
                if not byte:
                    return
                header += byte
            length = next(int(line.split(b':')[1]) for line in header.split(b'\r\n')
                          if line.lower().startswith(b'content-length'))
            message = json.loads(out.read(length))
            now = time.monotonic()
            if 'method' in message:
                with self.lock:
                    self.notified[message['method']] = self.notified.get(message['method'], 0) + 1
                continue
            with self.lock:
                key = message.get('id')
                self.answers[key] = self.answers.get(key, 0) + 1
                if key not in self.pending:
                    self.unasked += 1
                    continue
                method, sent = self.pending.pop(key)
                how = 'answered' if 'result' in message else 'ended %d' % message['error']['code']
                self.latency.setdefault((method, how), []).append(now - sent)
                self.results[key] = message
                done = self.waiting.pop(key, None)
            if done:
                done.set()

    def send(self, message):
        body = json.dumps(message).encode()
        with self.lock:
            self.process.stdin.write(b'Content-Length: %d\r\n\r\n' % len(body) + body)
            self.process.stdin.flush()

    def request(self, method, params):
        with self.lock:
            key = self.next_id
            self.next_id += 1
            self.pending[key] = (method, time.monotonic())
            done = self.waiting[key] = threading.Event()
        self.send({"jsonrpc": "2.0", "id": key, "method": method, "params": params})
        return key, done

    def call(self, method, params, timeout=30):
        key, done = self.request(method, params)
        done.wait(timeout)
        return self.results.get(key)

    def notify(self, method, params):
        self.send({"jsonrpc": "2.0", "method": method, "params": params})


def process_figures(pid):
    figures = {}
    with open(f'/proc/{pid}/status') as status:
        for line in status:
            name, value = line.split(':', 1)
            if name in ('VmRSS', 'VmHWM', 'Threads'):
                figures[name] = value.strip()
    figures['fds'] = len(os.listdir(f'/proc/{pid}/fd'))
    return figures


class Document:
    def __init__(self, uri, path, block=40):
        lines = open(path, encoding='utf-8').read().split('\n')
        start = len(lines) // 3
        self.uri, self.version = uri, 1
        self.typed = lines[start:start + block]
        self.lines = lines[:start] + [''] + lines[start + block:]
        self.line, self.typed_line, self.typed_char = start, 0, 0

    def text(self):
        return '\n'.join(self.lines)

    def next_change(self):
        """The change of the next keystroke, applied to our copy; a backspace now and then."""
        if self.typed_line >= len(self.typed):  # typed it all: again, on a new line
            self.lines.insert(self.line, '')
            self.typed_line = self.typed_char = 0
        source, current = self.typed[self.typed_line], self.lines[self.line]
        at = {"line": self.line, "character": utf16_length(current)}
        if self.typed_char < len(source):
            char = '\U0001F600' if random.random() < 0.01 else source[self.typed_char]
            self.typed_char += 1
            self.lines[self.line] = current + char
        else:
            char = '\n'
            self.lines.insert(self.line + 1, '')
            self.line += 1
            self.typed_line += 1
            self.typed_char = 0
        changes = [{"range": {"start": at, "end": at}, "rangeLength": 0, "text": char}]
        typed = self.lines[self.line]
        if typed and random.random() < 0.05:
            end = utf16_length(typed)
            start = end - utf16_length(typed[-1])
            changes.append({"range": {"start": {"line": self.line, "character": start},
                                      "end": {"line": self.line, "character": end}},
                            "rangeLength": end - start, "text": ""})
            self.lines[self.line] = typed[:-1]
            self.typed_char -= 1
        return changes

    def cursor(self):
        return {"line": self.line, "character": utf16_length(self.lines[self.line])}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('--server', required=True, help='the ostrel-lsp program')
    parser.add_argument('--keys', type=int, default=3000, help='keystrokes in all')
    parser.add_argument('--pace', type=float, default=0.01, help='seconds between keystrokes')
    parser.add_argument('--wrap', default='', help='command that runs the server, as "valgrind -q"')
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('files', nargs='+', help='.ost files to type in')
    args = parser.parse_args()
    random.seed(args.seed)

    model = ModelServer(('127.0.0.1', 0), ModelHandler)
    threading.Thread(target=model.serve_forever, daemon=True).start()
    settings = tempfile.NamedTemporaryFile('w', suffix='.json', delete=False)
    settings.write('{}')
    settings.close()
    editor = Editor(args.wrap.split() + [args.server, '--backend', 'openai', '--endpoint',
                                         'http://127.0.0.1:%d' % model.server_address[1],
                                         '--settings', settings.name, '--timeout-ms', '3000'])
    pid = editor.process.pid
    editor.call('initialize', {"processId": os.getpid(), "rootUri": None, "capabilities": {}})
    editor.notify('initialized', {})
    documents = [Document('file:///soak/doc%d.ost' % k, path) for k, path in enumerate(args.files)]
    for document in documents:
        editor.notify('textDocument/didOpen', {"textDocument": {
            "uri": document.uri, "languageId": "ostrel", "version": 1, "text": document.text()}})

    started = time.monotonic()
    inline = None
    for key in range(args.keys):
        Model.mode = MODES[key // 250 % len(MODES)]
        if key % 500 == 0:
            print('keys %6d  %5.0f s  model %-5s  %s' % (key, time.monotonic() - started, Model.mode,
                                                      process_figures(pid)), flush=True)
        document = documents[key // 150 % len(documents)]
        if inline is not None:  # typing on dismisses the ghost text the plug-in waits for
            editor.notify('$/cancelRequest', {"id": inline})
            inline = None
        document.version += 1
        editor.notify('textDocument/didChange', {"textDocument": {"uri": document.uri, "version": document.version},
                                                 "contentChanges": document.next_change()})
        place = {"textDocument": {"uri": document.uri}, "position": document.cursor()}
        chance = random.random()
        if chance < 0.25:
            inline, shown = editor.request('textDocument/inlineCompletion', {**place, "context": {"triggerKind": 2}})
            if random.random() < 0.3:  # a pause: the ghost text comes
                shown.wait(0.5)
                inline = None
        elif chance < 0.27:
            editor.request('textDocument/completion', place)
        if key % 200 == 199:
            editor.call('textDocument/formatting', {"textDocument": {"uri": document.uri},
                                                    "options": {"tabSize": 4, "insertSpaces": True}})
        if key % 700 == 699:
            editor.notify('textDocument/didClose', {"textDocument": {"uri": document.uri}})
            document.version = 1
            editor.notify('textDocument/didOpen', {"textDocument": {
                "uri": document.uri, "languageId": "ostrel", "version": 1, "text": document.text()}})
            inline = None
        time.sleep(args.pace)
    Model.mode = 'ok'
    time.sleep(2)
    print('keys %6d  %5.0f s  settled       %s' % (args.keys, time.monotonic() - started, process_figures(pid)))

    # The end of the session comes while the model still works on completions.
    Model.mode = 'slow'
    for document in documents:
        editor.request('textDocument/completion', {"textDocument": {"uri": document.uri},
                                                   "position": {"line": 0, "character": 0}})
    time.sleep(0.3)
    ending = time.monotonic()
    editor.call('shutdown', None, timeout=10)
    editor.notify('exit', None)
    try:
        status = editor.process.wait(10)
    except subprocess.TimeoutExpired:
        status = 'none: still running after 10 s'
        editor.process.kill()
    print('shutdown and exit took %.2f s, exit status %s' % (time.monotonic() - ending, status))
    Model.closing.set()
    os.unlink(settings.name)

    with editor.lock:
        unanswered = sorted(editor.pending)
        repeated = sorted(key for key, count in editor.answers.items() if count > 1)
    print('requests %d, unanswered %s, answered twice %s, answers to no request %d; model calls %d; %s' % (
        editor.next_id - 1, unanswered, repeated, editor.unasked, Model.requests, editor.notified))
    for (method, how), times in sorted(editor.latency.items()):
        times.sort()
        count = len(times)
        print('  %-30s %-13s n=%5d  p50 %7.1f ms  p95 %7.1f ms  max %7.1f ms' % (
            method, how, count, 1000 * times[count // 2], 1000 * times[int(count * 0.95)], 1000 * times[-1]))
    return 0 if not unanswered and not repeated and status == 0 else 1


if __name__ == '__main__':
    sys.exit(main())
