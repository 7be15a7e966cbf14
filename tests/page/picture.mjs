// picture.mjs PAGE PNG: the first screen of a page in the light theme, once all of it is painted.

import {createRequire} from 'node:module';
import {pathToFileURL} from 'node:url';

const {chromium} = createRequire(`${process.env.PACKAGES}/package.json`)('playwright-core');

const [page, picture] = process.argv.slice(2);
const browser = await chromium.launch({executablePath: process.env.CHROMIUM});
const tab = await browser.newPage({viewport: {width: 1280, height: 800}, colorScheme: 'light'});
await tab.goto(pathToFileURL(page).href);
await tab.locator('#lanes canvas').first().waitFor();
await tab.screenshot({path: picture});
await browser.close();
