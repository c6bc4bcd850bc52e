"""The page of `ksrbac report` in a browser, as a person uses it."""

ASK = """
const field = (name) => document.getElementById('why-' + name);
return arguments[0].map(([roles, operation, object]) => {
  field('roles').value = roles;
  field('operation').value = operation;
  field('object').value = object;
  document.getElementById('why').requestSubmit();
  const answer = document.getElementById('answer');
  const numbers = (text) => text === '' ? [] : text.split(',').map(Number);
  return {
    error: field('error').textContent,
    verdict: answer.querySelector('.word')?.textContent,
    reason: answer.querySelector('.reason')?.textContent,
    path: [...answer.querySelectorAll('.path li')].map(({dataset}) => ({
      object: dataset.object, inCache: dataset.inCache === 'true', inherits: dataset.inherits === 'true',
      counts: dataset.counts, rolesOnObject: numbers(dataset.onObject), rolesOnChildren: numbers(dataset.onChildren),
    })),
  };
});
"""

# The least contrast of what can be read, by the formula of WCAG 2.
CONTRAST = """
const channels = (color) => color.match(/[0-9.]+/g).map(Number);
const luminance = (color) => {
  const [red, green, blue] = channels(color).slice(0, 3).map((each) => {
    const share = each / 255;
    return share <= 0.04045 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
};
const ground = (element) => {
  for (let at = element; at; at = at.parentElement) {
    const color = getComputedStyle(at).backgroundColor;
    if ((channels(color)[3] ?? 1) > 0) {
      return color;
    }
  }
  return 'rgb(255, 255, 255)';
};
let least = [21, ''];
for (const element of document.querySelectorAll('body *')) {
  const isText = [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim() !== '');
  if (isText && element.checkVisibility() && !element.closest('noscript, script, option')) {
    const [light, dark] = [luminance(getComputedStyle(element).color), luminance(ground(element))].sort((a, b) => b - a);
    const ratio = (light + 0.05) / (dark + 0.05);
    if (ratio < least[0]) {
      least = [ratio, element.outerHTML.slice(0, 200)];
    }
  }
}
return least;
"""


class Page:
    def __init__(self, browser, path):
        self.browser = browser
        self.path = path
        browser.open(path)

    def ask(self, questions):
        """Fills the form of "Why?" in and submits it, for each (roles, operation, object)."""
        return self.browser.run(ASK, [[",".join(map(str, roles)), operation, item]
                                      for roles, operation, item in questions])

    def search(self, text):
        """Presses the key for it, and types."""
        self.browser.press("/", text)

    def paste_search(self, text):
        """The same for long texts, all at once."""
        self.browser.run("""const search = document.getElementById('search');
            search.focus();
            search.value = arguments[0];
            search.dispatchEvent(new Event('input'))""", text)

    def active_row(self):
        """What a person sees of the row that the keys have reached."""
        return self.browser.run("return document.querySelector('.row.active')?.innerText.replaceAll('\\n', ' ')")

    def rows(self):
        return self.browser.run("return [...document.querySelectorAll('.row')].map((row) => row.innerText)")

    def focused(self):
        return self.browser.run("return document.activeElement.id || document.activeElement.className")

    def shown_object(self):
        return self.browser.text("#panel-object h2")

    def matrix(self):
        """The allowed cells: (role, bit) and where it is granted."""
        cells = self.browser.run("""return [...document.querySelectorAll('.matrix tbody td.here, .matrix tbody td.above')]
            .map((cell) => [Number(cell.dataset.role), Number(cell.dataset.bit), cell.className])""")
        return {(role, bit): where for role, bit, where in cells}

    def changes(self):
        """The rows of the changes, as `cache diff` prints their fields."""
        return self.browser.run("""return [...document.querySelectorAll('#panel-changes tbody tr')].map(({dataset}) =>
            [dataset.kind, dataset.object, dataset.role, dataset.operation, dataset.scope].filter((x) => x !== undefined))""")

    def least_contrast(self):
        return self.browser.run(CONTRAST)

    def milliseconds_to_open(self):
        """From the beginning of the navigation until the page is loaded and its script has run."""
        return self.browser.run("return performance.getEntriesByType('navigation')[0].loadEventEnd")

    def complaints(self):
        """What the browser found wrong: errors, violations of the policy, and requests beside the page's own."""
        requests = [url for url in self.browser.requested() if url != f"file://{self.path}"]
        return self.browser.console() + requests
