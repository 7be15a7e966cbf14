// Light or dark, as the system has it unless the reader chooses.

const THEMES = ['auto', 'light', 'dark'];
// When the dark colours are laid over the light ones.
const MEDIA = {auto: '(prefers-color-scheme: dark)', light: 'not all', dark: 'all'};
const dark = document.getElementById('dark');
const KEY = 'kzstat-theme';

// A page opened from disk may be denied a memory.
function remembered() {
  try {
    return localStorage.getItem(KEY) ?? 'auto';
  } catch {
    return 'auto';
  }
}

function remember(theme) {
  try {
    localStorage.setItem(KEY, theme);
  } catch {
    // Chosen for this visit only.
  }
}

export function offerThemes(button, onChanged) {
  let theme = remembered();
  const apply = () => {
    dark.media = MEDIA[theme];
    button.textContent = `Theme: ${theme}`;
  };
  apply();
  button.addEventListener('click', () => {
    theme = THEMES[(THEMES.indexOf(theme) + 1) % THEMES.length];
    remember(theme);
    apply();
    onChanged();
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', onChanged);
}

// As the style has it: the table of all names has the others, too.
const MOST_ROWS_ON_PAPER = 40;

function tellLeftOut(names) {
  const rows = document.querySelectorAll('#operations-table tbody tr').length - MOST_ROWS_ON_PAPER;
  const parts = [
    ...(names.length > 0 ? [`the charts of ${names.length} names, which were folded or filtered when this was printed`] : []),
    ...(rows > 0 ? [`${rows} of what was timed, which all names have, too`] : []),
  ];
  const element = document.getElementById('left-out');
  element.hidden = parts.length === 0;
  element.textContent = `Left out: ${parts.join('; ')}.`;
}

// Paper is white. `showAgain` draws what is shown in the colours of the theme.
export function offerPrinting(charts, showAgain) {
  const root = document.documentElement;
  const facts = document.querySelector('.facts');
  let media;
  let wereFactsOpen;
  addEventListener('beforeprint', () => {
    media = dark.media;
    dark.media = MEDIA.light;
    root.classList.add('printing');
    wereFactsOpen = facts.open;
    facts.open = true;
    showAgain();
    tellLeftOut(charts.drawForPaper());
  });
  addEventListener('afterprint', () => {
    dark.media = media;
    root.classList.remove('printing');
    facts.open = wereFactsOpen;
    charts.drawNear();
    document.getElementById('left-out').hidden = true;
    showAgain();
  });
}
