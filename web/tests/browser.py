"""A headless Chromium with the page in it, and what a person does there: drop files, press keys, save."""
import base64
import contextlib
import os
import re
import subprocess
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

ARGUMENTS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
             '--disable-background-networking', '--disable-component-update', '--disable-sync',
             '--force-color-profile=srgb', '--hide-scrollbars']


class Browser:
    """`page` is the path of the packed page; `folder` takes the profile and what is saved."""

    def __init__(self, page, folder):
        self.address = 'file://' + page
        self.downloads = os.path.join(folder, 'downloads')
        options = webdriver.ChromeOptions()
        options.binary_location = '/usr/bin/chromium'
        for argument in ARGUMENTS + ['--user-data-dir=' + tempfile.mkdtemp(dir=folder)]:
            options.add_argument(argument)
        options.add_experimental_option('prefs', {'download.default_directory': self.downloads})
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        self.driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        self.driver.set_script_timeout(120)

    def close(self):
        self.driver.quit()

    def open(self, width=1200, height=1000, scale=1, is_dark=False):
        """Loads the page anew, as on a screen of this size."""
        self.devtools('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=scale,
                      mobile=width < 500)
        self.devtools('Emulation.setEmulatedMedia',
                      features=[{'name': 'prefers-color-scheme', 'value': 'dark' if is_dark else 'light'}])
        self.driver.get(self.address)
        self.wait('document.documentElement.dataset.worker')

    def devtools(self, command, **arguments):
        return self.driver.execute_cdp_cmd(command, arguments)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

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

    def add(self, *paths):
        """Chooses files and waits for what the page makes of them."""
        self.find('#chooser').send_keys('\n'.join(paths))
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

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """What a reader sees in the elements that a selector names, hidden ones left out."""
        return '\n'.join(element.text for element in self.driver.find_elements(By.CSS_SELECTOR, selector))

    def lines(self, selector):
        return [line for line in self.text(selector).split('\n') if line]

    def press(self, selector, keys):
        self.find(selector).send_keys(keys)

    def save(self, selector, first=''):
        """Presses a button that saves, right after a script, and returns the path of the file."""
        os.makedirs(self.downloads, exist_ok=True)
        before = set(os.listdir(self.downloads))
        if first:
            self.run(f'{first}; document.querySelector(arguments[0]).click()', selector)
        else:
            self.find(selector).click()
        end = time.monotonic() + 30
        while time.monotonic() < end:
            new = [name for name in set(os.listdir(self.downloads)) - before if not name.endswith('.crdownload')
                   and not name.startswith('.')]
            if new:
                return os.path.join(self.downloads, new[0])
            time.sleep(0.02)
        raise AssertionError('nothing has been saved')

    def memory(self):
        """The megabytes that the page's process has for itself, and all others of the browser."""
        self.devtools('HeapProfiler.collectGarbage')
        listed = subprocess.run(['ps', '-e', '-o', 'pid=,ppid=,args='], stdout=subprocess.PIPE, text=True, check=True)
        processes = {line.split()[0]: line.split(maxsplit=2)[1:] for line in listed.stdout.splitlines()}
        sizes = {'page': 0, 'rest': 0}
        for process, (parent, command) in processes.items():
            # Numbers begin anew at the largest: a child's can be below its parent's.
            while parent in processes and parent != str(self.driver.service.process.pid):
                parent = processes[parent][0]
            # One that has ended since has no memory.
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                if parent in processes and 'defunct' not in command:
                    with open(f'/proc/{process}/smaps_rollup', encoding='utf-8') as file:
                        kinds = re.findall(r'Pss_(?:Anon|Shmem): +(\d+)', file.read())
                    sizes['page' if '--type=renderer' in command else 'rest'] += sum(map(int, kinds)) / 1024
        if not sizes['page']:
            raise AssertionError('the page has no process of its own')
        return sizes

    def screenshot(self, path):
        """The whole page as a PNG file."""
        width, height = self.run('const e = document.documentElement; return [e.clientWidth, e.scrollHeight]')
        clip = {'x': 0, 'y': 0, 'width': width, 'height': height, 'scale': 1}
        data = self.devtools('Page.captureScreenshot', captureBeyondViewport=True, clip=clip)['data']
        with open(path, 'wb') as file:
            file.write(base64.b64decode(data))

    def errors(self):
        """What went wrong on the page since the last call."""
        return [entry['message'] for entry in self.driver.get_log('browser')]
