"""WebDriver BiDi, the protocol by which both browsers are driven: https://www.w3.org/TR/webdriver-bidi/"""
import asyncio
import contextlib
import json
import os
import re
import subprocess
import urllib.request

import websockets

CHROMIUM = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
            '--disable-background-networking', '--disable-component-update', '--disable-sync',
            '--force-color-profile=srgb', '--hide-scrollbars']
FIREFOX = {'browser.download.folderList': 2, 'browser.download.alwaysOpenPanel': False,
           'ui.useOverlayScrollbars': 1, 'gfx.color_management.mode': 0, 'app.normandy.enabled': False,
           'datareporting.policy.dataSubmissionEnabled': False, 'network.captive-portal-service.enabled': False}


def start(command, said):
    """A program, and what it says in a line where it tells its address."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    for line in process.stdout:
        found = re.search(said, line)
        if found:
            return process, found[1]
    raise AssertionError(f'{command[0]} does not start')


def chromium(profile, downloads):
    """Its driver's process and the address of a session."""
    process, port = start(['/usr/bin/chromedriver', '--port=0'], r'successfully on port (\d+)')
    options = {'binary': '/usr/bin/chromium', 'args': CHROMIUM + ['--user-data-dir=' + profile],
               'prefs': {'download.default_directory': downloads}}
    wanted = {'webSocketUrl': True, 'unhandledPromptBehavior': 'ignore', 'goog:chromeOptions': options}
    body = json.dumps({'capabilities': {'alwaysMatch': wanted}}).encode()
    with urllib.request.urlopen(f'http://127.0.0.1:{port}/session', body) as answer:
        return process, json.load(answer)['value']['capabilities']['webSocketUrl']


def firefox(profile, downloads):
    """Its process and the address where sessions begin."""
    with open(os.path.join(profile, 'user.js'), 'w', encoding='utf-8') as file:
        for name, value in {**FIREFOX, 'browser.download.dir': downloads}.items():
            file.write(f'user_pref({json.dumps(name)}, {json.dumps(value)});\n')
    process, address = start(['/usr/bin/firefox-esr', '--headless', '--no-remote', '--profile', profile,
                              '--remote-debugging-port=0', 'about:blank'], r'listening on (ws://\S+)')
    return process, address + '/session'


async def connected(address):
    return await websockets.connect(address, max_size=None, ping_interval=None)


class Session:
    """One command at a time; what a browser tells meanwhile stands in `events`."""

    def __init__(self, start_browser, profile, downloads):
        self.process, address = start_browser(profile, downloads)
        self.loop = asyncio.new_event_loop()
        self.socket = self.loop.run_until_complete(connected(address))
        self.count = 0
        self.events = []
        if start_browser is firefox:
            self.send('session.new', capabilities={})

    def send(self, method, /, **parameters):
        self.count += 1
        return self.loop.run_until_complete(self.answer({'id': self.count, 'method': method, 'params': parameters}))

    async def answer(self, command):
        await self.socket.send(json.dumps(command))
        while True:
            message = json.loads(await asyncio.wait_for(self.socket.recv(), 180))
            if message.get('id') == command['id']:
                if message['type'] == 'error':
                    raise AssertionError(f"{command['method']}: {message['message']}")
                return message['result']
            self.events.append(message)

    def close(self):
        with contextlib.suppress(AssertionError, websockets.ConnectionClosed, asyncio.TimeoutError):
            self.send('browser.close')
        self.loop.run_until_complete(self.socket.close())
        self.loop.close()
        self.process.terminate()
        self.process.wait()
