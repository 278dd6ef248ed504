#pragma once

// Asked for by libraries on a Mac; nothing that we compile needs what it declares.
