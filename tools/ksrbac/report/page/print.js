// On paper the tree has all rows that are expanded, as far as anybody would print them.

const MOST_PRINTED = 2000;

function preparePrinting(tree) {
  window.addEventListener('beforeprint', () => {
    const rows = tree.rows.slice(0, MOST_PRINTED);
    const left = tree.rows.length - rows.length;
    const beside = tree.role === undefined ? 'which roles have grants on it' : `what ${tree.policy.roleText(tree.role)} may do there`;
    byId('tree-status').textContent = `Beside each object: ${beside}.${left > 0 ? ` ${count(left, 'more row')} not printed.` : ''}`;
    tree.isPrinted = true;
    tree.rowBox.replaceChildren(...rows.map((node) => tree.row(node)));
  });
  window.addEventListener('afterprint', () => {
    byId('tree-status').textContent = '';
    tree.isPrinted = false;
    tree.render();
  });
}
