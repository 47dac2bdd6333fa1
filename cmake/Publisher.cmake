# Who publishes the program, as every kind of package tells it.
set(TESSIVAR_PUBLISHER "The Tessivar developers")
set(TESSIVAR_HOMEPAGE "https://tessivar.org/")
set(TESSIVAR_CONTACT "https://tessivar.org/contact")
