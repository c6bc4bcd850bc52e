// Puts the page together.

function showFacts(policy) {
  const {cache, before} = policy.data;
  const objects = policy.data.objects;
  let cached = 0;
  let cuts = 0;
  for (let node = 0; node < policy.size; ++node) {
    cached += objects[node] === 0 ? 0 : 1;
    cuts += policy.inherits(node) ? 0 : 1;
  }
  const fact = (...content) => element('span', {class: 'fact'}, ...content);
  const facts = [
    fact('Cache ', element('strong', null, readableText(cache.id)), ', ', stateText(cache)),
    cache.covers === '|' ? null : fact('covers ', nameElement(parsedName(cache.covers))),
    fact(count(cached, 'object')),
    cache.definitions === null ? null : fact(count(cache.definitions, 'access definition')),
    fact(count(policy.allRoles().length, 'role')),
    fact(count(policy.bits.size, 'operation')),
    fact(`inheritance cut ${count(cuts, 'time')}`),
    before === null ? null : fact('compared with ', element('strong', null, readableText(before.id)), ', ', stateText(before)),
  ];
  byId('facts').replaceChildren(...facts.filter(Boolean).flatMap((each) => [each, ' ']));
  byId('bottom').textContent = `Made by ksrbac ${policy.data.version} from one state of the cache, stamp ${cache.stamp}. ` +
    'Everything is in this file; it loads nothing and sends nothing.';
}

// Views of which one is shown at a time.
class Tabs {
  constructor() {
    this.tabs = [...document.querySelectorAll('[role=tab]')];
    for (const tab of this.tabs) {
      tab.addEventListener('click', () => this.show(tab.id));
      tab.addEventListener('keydown', (event) => this.onKey(event));
    }
  }

  show(id) {
    for (const tab of this.tabs) {
      const isShown = tab.id === id;
      tab.setAttribute('aria-selected', String(isShown));
      tab.tabIndex = isShown ? 0 : -1;
      byId(tab.getAttribute('aria-controls')).hidden = !isShown;
    }
  }

  onKey(event) {
    const shown = this.tabs.filter((tab) => !tab.hidden);
    const at = shown.indexOf(event.target);
    const next = {
      ArrowRight: shown[(at + 1) % shown.length], ArrowLeft: shown[(at + shown.length - 1) % shown.length],
      Home: shown[0], End: shown[shown.length - 1],
    }[event.key];
    if (next) {
      event.preventDefault();
      this.show(next.id);
      next.focus();
    }
  }
}

function fillRoles(policy, tree) {
  const select = byId('role');
  select.append(element('option', {value: ''}, 'Grants on it'),
    element('optgroup', {label: 'What a role may do there'}, ...policy.allRoles().map((role) =>
      element('option', {value: role}, policy.roleText(role)))));
  select.value = '';
  select.addEventListener('change', () => tree.showRole(select.value === '' ? undefined : Number(select.value)));
}

function start() {
  const policy = new Policy(JSON.parse(byId('data').textContent));
  const tabs = new Tabs();
  let tree;
  const reveal = (node) => {
    tabs.show('tab-object');
    tree.reveal(node);
    byId('panel-object').focus({preventScroll: true}); // what was clicked may be gone
  };
  const why = new Why(policy, reveal);
  const changes = policy.data.before === null ? null : new Changes(policy, reveal);
  const panel = new ObjectPanel(policy, {
    reveal,
    ask: (roles, bit, components) => {
      tabs.show('tab-why');
      why.ask(roles, bit, components);
      byId('answer').focus();
    },
    showChanges: (node) => {
      changes.showOf(node);
      tabs.show('tab-changes');
      byId('panel-changes').focus();
    },
  });
  tree = new Tree(policy, (node) => {
    panel.show(node);
    byId('why-object').value = readableName(policy.componentsOf(node));
  });
  const search = new Search(policy, tree);
  byId('tab-changes').hidden = changes === null;
  changes?.show();
  showFacts(policy);
  fillRoles(policy, tree);
  preparePrinting(tree);
  document.addEventListener('keydown', (event) => {
    const isTyping = event.target.matches('input, select, textarea');
    if (event.key === '/' && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      search.input.focus();
      search.input.select();
    }
  });
  tree.select(0);
  tree.box.focus({preventScroll: true});
}

start();
