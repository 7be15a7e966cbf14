// Keeps what is being read where it is while the page changes above it.

const READ = '.card, summary, .panel';

// The first element on the screen that changes of figures do not move.
function elementBeingRead() {
  return [...document.querySelectorAll(READ)].find((element) => {
    const {top, height} = element.getBoundingClientRect();
    return height > 0 && top >= 0 && top < innerHeight;
  });
}

export function keepingPlace(change) {
  const read = scrollY > 0 ? elementBeingRead() : null;
  const before = read?.getBoundingClientRect().top;
  change();
  if (read?.isConnected) scrollBy(0, read.getBoundingClientRect().top - before);
}
