# Prints a list of 100,000 addresses of all types, with the lines of the input, "number text", in place of its own.
{ planted[$1] = $2 }
END {
    for (n = 1; n <= 100000; ++n) {
        if (n in planted) print planted[n]
        else if (n % 4 == 0) printf "10.%d.%d.%d\n", n / 65536, n / 256 % 256, n % 256
        else if (n % 4 == 1) printf "2001:db8:%x::%x\n", n / 7, n % 65536
        else if (n % 4 == 2) printf "02:00:00:%02x:%02x:%02X\n", n / 65536, n / 256 % 256, n % 256
        else printf "20-00-00-25-b5-%02x-%02x-%02x\n", n / 65536, n / 256 % 256, n % 256
    }
}
