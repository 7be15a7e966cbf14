// The share of errors, by the rule that the condition `errors share` is judged by.

const FAILED = '.failed';

const numberOf = (name, figuresOf) => {
  if (!name) return 0;
  const {count, sum} = figuresOf(name);
  return count ?? sum ?? 0;
};

const isTransaction = ({type}) => type === 'TransactionTimer' || type === 'TransactionCounter';

// X of X.failed and of X.failed.CAUSE, if it is work of the run; null for other names.
function workThatFailed(name, names) {
  for (let at = name.indexOf(FAILED); at >= 0; at = name.indexOf(FAILED, at + 1)) {
    const [work, rest] = [name.slice(0, at), name.slice(at + FAILED.length)];
    const isCause = at > 0 && (rest === '' || rest.startsWith('.'));
    if (isCause && (names.has(work) || names.has(work + FAILED))) return work;
  }
  return null;
}

// Transactions, also of kinds that never failed, and other work that has failed, by their names.
function worksOf(names) {
  const works = {transactions: new Set(), rest: new Set()};
  for (const [name, each] of names) {
    const work = workThatFailed(name, names);
    if (work !== null && name === work + FAILED) works[isTransaction(each) ? 'transactions' : 'rest'].add(work);
    if (work === null && each.type === 'TransactionTimer' && !names.has(name + FAILED)) works.transactions.add(name);
  }
  return works;
}

// Of {failed, attempts, share, works, areTransactions}; the share is null without attempts.
function errorsIn(works, areTransactions, names, figuresOf) {
  const total = (suffix) => works.reduce((sum, work) => sum + numberOf(names.get(work + suffix), figuresOf), 0);
  const failed = total(FAILED);
  const attempts = failed + total('');
  return {failed, attempts, share: attempts > 0 ? failed / attempts : null, works, areTransactions};
}

// The greater share of that of transactions and that of other work that has failed; null if there is neither.
// Transactions are made of work that has names of its own: both together would count a failure twice. Of equal shares
// the one of other work is told, which the other tiles are about.
export function errorsOf(allNames, figuresOf) {
  const names = new Map(allNames.map((name) => [name.name, name]));
  const {transactions, rest} = worksOf(names);
  const both = [errorsIn([...rest], false, names, figuresOf), errorsIn([...transactions], true, names, figuresOf)];
  const [first, second] = both.filter(({works}) => works.length > 0);
  return second && (second.share ?? -1) > (first.share ?? -1) ? second : (first ?? null);
}
