"""A headless browser with the page in it, and what a person does there: drop files, press keys, save."""
import base64
import contextlib
import json
import os
import re
import subprocess
import tempfile
import time

import bidi

# As WebDriver names them: https://www.w3.org/TR/webdriver/#keyboard-actions
TAB, ENTER, SHIFT, CONTROL, ALT, ARROW_RIGHT, ARROW_DOWN = '\ue004\ue007\ue008\ue009\ue00a\ue014\ue015'
MODIFIERS = SHIFT + CONTROL + ALT


class Browser:
    """`name` is that of a function of bidi.py; `page` is the path of the packed page; `folder` takes the profile and
    what is saved."""

    def __init__(self, name, page, folder):
        self.name = name
        self.address = 'file://' + page
        self.downloads = os.path.join(folder, 'downloads')
        os.makedirs(self.downloads)
        self.session = bidi.Session(getattr(bidi, name), tempfile.mkdtemp(dir=folder), self.downloads)
        # The first page of a browser begins without the keyboard's focus, which its own bar of addresses has.
        self.context = self.session.send('browsingContext.create', type='tab')['context']
        self.session.send('session.subscribe', events=['log.entryAdded'])

    def close(self):
        self.session.close()

    def send(self, method, /, **parameters):
        return self.session.send(method, context=self.context, **parameters)

    def devtools(self, command, **arguments):
        """What BiDi has no command for, in Chromium alone."""
        session = self.send('goog:cdp.getSession')['session']
        return self.session.send('goog:cdp.sendCommand', method=command, params=arguments, session=session)['result']

    def open(self, width=1200, height=1000, scale=1, is_dark=False, first='', ready='document.documentElement.dataset.worker'):
        """Loads the page anew, as on a screen of this size, after a script has prepared it."""
        self.resize(width, height, scale)
        if self.name == 'chromium':
            self.devtools('Emulation.setEmulatedMedia', media='',
                          features=[{'name': 'prefers-color-scheme', 'value': 'dark' if is_dark else 'light'}])
        preload = self.session.send('script.addPreloadScript', functionDeclaration=f'() => {{ {first} }}')
        self.send('browsingContext.navigate', url=self.address, wait='complete')
        self.session.send('script.removePreloadScript', script=preload['script'])
        self.wait(ready)

    def resize(self, width, height, scale=1):
        self.send('browsingContext.setViewport', viewport={'width': width, 'height': height}, devicePixelRatio=scale)

    def call(self, script, arguments=(), **more):
        answer = self.session.send(
            'script.callFunction', target={'context': self.context}, awaitPromise=True,
            functionDeclaration=f'async text => {{ const given = JSON.parse(text); {script} }}',
            arguments=[{'type': 'string', 'value': json.dumps(arguments)}], **more)
        if answer['type'] == 'exception':
            raise AssertionError(answer['exceptionDetails']['text'])
        return answer['result']

    def run(self, script, *arguments):
        """The value of a function's body, or what it promises, as JSON has it."""
        result = self.call(f'return JSON.stringify(await (function () {{ {script} }}).apply(null, given))', arguments)
        return json.loads(result['value']) if result['type'] == 'string' else None

    def wait(self, condition, seconds=60):
        """Waits until a JavaScript expression holds, and returns its value."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            value = self.run('return ' + condition)
            if value:
                return value
            time.sleep(0.02)
        raise AssertionError(f'{condition} does not come true; the page says: {self.text("body")}')

    def settle(self):
        """Waits until nothing is in work."""
        self.wait("!document.querySelector('[aria-busy=true]')")

    def choose_files(self, *paths):
        """Chooses files and does not wait."""
        chooser = self.call("return document.querySelector('#chooser')")
        self.send('input.setFiles', element={'sharedId': chooser['sharedId']}, files=paths)

    def add(self, *paths):
        """Chooses files and waits for what the page makes of them."""
        self.choose_files(*paths)
        self.settle()

    def drop(self, files):
        """Drops files, {name: content}, and does not wait."""
        self.run("""const data = new DataTransfer();
                    for (const [name, content] of arguments[0]) {
                        data.items.add(new File([Uint8Array.from(atob(content), c => c.charCodeAt(0))], name));
                    }
                    document.querySelector('main').dispatchEvent(
                        new DragEvent('drop', {dataTransfer: data, bubbles: true, cancelable: true}))""",
                 [(name, base64.b64encode(content).decode()) for name, content in files.items()])

    def choose(self, name, value):
        """Selects a radio button of the controls."""
        self.run("document.querySelector(`input[name=${arguments[0]}][value='${arguments[1]}']`).click()", name, value)
        self.settle()

    def set_ratio(self, ratio):
        self.run("""const input = document.querySelector('#ratio'); input.value = arguments[0];
                    input.dispatchEvent(new Event('input', {bubbles: true}))""", ratio)
        self.settle()

    def is_shown(self, selector):
        return self.run('return document.querySelector(arguments[0]).checkVisibility()', selector)

    def text(self, selector):
        """What a reader sees in the elements that a selector names, hidden ones left out."""
        return self.run("""return [...document.querySelectorAll(arguments[0])].filter(e => e.checkVisibility()).map(
                               e => e.innerText.replace(/\\t/g, ' ').trim()).join('\\n')""", selector)

    def lines(self, selector):
        return [line for line in self.text(selector).split('\n') if line]

    def click(self, selector):
        """Presses a button wherever it stands."""
        self.run('document.querySelector(arguments[0]).click()', selector)

    def press(self, selector, keys):
        """Presses keys in an element; a modifier is held until it comes again."""
        self.run('document.querySelector(arguments[0]).focus()', selector)
        self.type(keys)

    def type(self, keys):
        actions, held = [], set()
        for key in keys:
            if key in MODIFIERS:
                actions.append({'type': 'keyUp' if key in held else 'keyDown', 'value': key})
                held ^= {key}
            else:
                actions += [{'type': kind, 'value': key} for kind in ('keyDown', 'keyUp')]
        self.send('input.performActions', actions=[{'type': 'key', 'id': 'keys', 'actions': actions}])
        self.send('input.releaseActions')

    def point(self, *places, clicks=0):
        """Moves the pointer to a place of the window, presses its button there as often, or drags over all places."""
        moves = [{'type': 'pointerMove', 'x': round(x), 'y': round(y)} for x, y in places]
        down, up = {'type': 'pointerDown', 'button': 0}, {'type': 'pointerUp', 'button': 0}
        actions = moves + [down, up] * clicks if len(moves) == 1 else [moves[0], down, *moves[1:], up]
        self.send('input.performActions', actions=[{'type': 'pointer', 'id': 'mouse', 'actions': actions}])

    def turn_wheel(self, x, y, by):
        action = {'type': 'scroll', 'x': round(x), 'y': round(y), 'deltaX': 0, 'deltaY': by}
        self.send('input.performActions', actions=[{'type': 'wheel', 'id': 'wheel', 'actions': [action]}])

    def save(self, selector, first=''):
        """Presses a button that saves, right after a script, and returns the path of the file."""
        before = set(os.listdir(self.downloads))
        self.run(f'{first}; document.querySelector(arguments[0]).click()', selector)
        end = time.monotonic() + 30
        while time.monotonic() < end:
            names = set(os.listdir(self.downloads))
            new = [name for name in names - before if not name.startswith('.') and not name.endswith(('.crdownload', '.part'))]
            # One browser keeps the place with an empty file until all of it is there.
            if new and not any(name.endswith('.part') for name in names) and os.path.getsize(os.path.join(self.downloads, new[0])):
                return os.path.join(self.downloads, new[0])
            time.sleep(0.02)
        raise AssertionError('nothing has been saved')

    def memory(self):
        """The megabytes that Chromium's process of the page has for itself, and all its others."""
        self.devtools('HeapProfiler.collectGarbage')
        listed = subprocess.run(['ps', '-e', '-o', 'pid=,ppid=,args='], stdout=subprocess.PIPE, text=True, check=True)
        processes = {line.split()[0]: line.split(maxsplit=2)[1:] for line in listed.stdout.splitlines()}
        pages, others = [], []
        for process, (parent, command) in processes.items():
            # Numbers begin anew at the largest: a child's can be below its parent's.
            while parent in processes and parent != str(self.session.process.pid):
                parent = processes[parent][0]
            # One that has ended since has no memory.
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                if parent in processes and 'defunct' not in command:
                    with open(f'/proc/{process}/smaps_rollup', encoding='utf-8') as file:
                        kinds = re.findall(r'Pss_(?:Anon|Shmem): +(\d+)', file.read())
                    (pages if '--type=renderer' in command else others).append(sum(map(int, kinds)) / 1024)
        # The driver has a small page of its own.
        return {'page': max(pages), 'rest': sum(pages + others) - max(pages)}

    def screenshot(self, path):
        """The whole page as a PNG file."""
        data = self.send('browsingContext.captureScreenshot', origin='document')['data']
        with open(path, 'wb') as file:
            file.write(base64.b64decode(data))

    def errors(self):
        """What went wrong on the page since the last call."""
        self.run('')
        entries = [event['params'] for event in self.session.events if event['method'] == 'log.entryAdded']
        self.session.events.clear()
        return [entry['text'] for entry in entries if entry['level'] in ('error', 'warn')]
